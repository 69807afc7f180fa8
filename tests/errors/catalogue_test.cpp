// The library's own catalogue: every id in both languages, with exactly the
// texts the applications and stored message lists have always seen.
#include "zeltools/errors/internal/catalogue.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "zeltools/rcscript/internal/rc_script.h"
#include "zeltools/errors/language.h"
#include "zeltools/rcscript/encoding.h"

namespace zel {
namespace {

struct Expected {
  unsigned int id;
  const char* english;
  const char* russianUtf8;
};

// Misspellings, doubled blanks, "/n" typos and the leading "?" and "С" of 161
// and 1161 are part of the texts.
const Expected catalogue[] = {
    {50, "Abnormal program termination", "Некорректное завершение программы"},
    {101, "FILEBASE: file \"%s\" is already opened.\n Attempt to open file \"%s\"",
     "В классе FILEBASE уже открыт файл \"%s\".\n Сделана попытка открыть файл \"%s\""},
    {102, "File \"%s\" is not open", "Файл \"%s\" не открыт"},
    {103, "File \"%s\" is opened as read-only", "Файл \"%s\" открыт только для чтения"},
    {104, "File \"%s\" is opened as write-only", "Файл \"%s\" открыт только для записи"},
    {105, "Error reading file \"%s\"", "Ошибка при чтении из файла \"%s\""},
    {106, "Error setting position in file \"%s\"", "Ошибка при позиционировании файла \"%s\""},
    {107, "Error writing to file \"%s\". \nPossibly insufficient disk space",
     "Ошибка при записи в файл \"%s\". \nВозможно, нет места на диске"},
    {108, "Error finding the length of file \"%s\"", "Ошибка при определении длины файла \"%s\""},
    {109, "Error of FLUSH operation on file \"%s\"", "Ошибка операции FLUSH для файла \"%s\""},
    {110, "When reading, size of file \"%s\" was exceeded", "Позиция чтения больше длины файла \"%s\""},
    {111, "When writing, allowable size limit of 4Gb for file \"%s\" was exceeded",
     "При записи превышен допустимый в 4Гб размер файла \"%s\""},
    {112, "When changing length of file \"%s\", its length was exceeded",
     "При изменении длины файла \"%s\" указана недопустимая величина"},
    {113, "Error chaning length of file \"%s\"", "Ошибка при изменении длины файла \"%s\""},
    {114, "Serial file \"%s\" cannot be opened\nfor simultaneous reading and writing",
     "Последовательный файл \"%s\" не может быть открыт\nодновременно для чтения и записи"},
    {115, "File \"%s\" requires %lu bytes to be allocated.\nThere are %lu bytes free on disk",
     "Для файла \"%s\" необходимо %lu байт.\nна диске свободно %lu байт"},
    {116, "Path to file \"%s\" is not found", "Не найден путь к файлу \"%s\""},
    {117, "File \"%s\" mapped to memory has zero length", "Отображаемый на память файл \"%s\" нулевой длины"},
    {118, "Error accessing function CreateFileMapping for file \"%s\"",
     "Ошибка при обращении к функции CreateFileMapping для файла \"%s\""},
    {119, "Error accessing function MapViewOfFile for file \"%s\"",
     "Ошибка при обращении к функции MapViewOfFile для файла \"%s\""},
    {120, "Error accessing function CopyFile for file \"%s\"",
     "Ошибка при обращении к функции CopyFile для файла \"%s\""},
    {121, "Error accessing function Put(void*,DWORD,DWORD*).\nLength of file exceeds 0xFFFFFFFF.",
     "Ошибка при обращении к функции Put(void*,DWORD,DWORD*).\nДлина файла превышает 0xFFFFFFFF."},
    {122, "Error accessing function Add(void*,DWORD*).\nLength of file exceeds 0xFFFFFFFF.",
     "Ошибка при обращении к функции Add(void*,DWORD*).\nДлина файла превышает 0xFFFFFFFF."},
    {123, "Error accessing function StringRead.\nLength of file exceeds 0xFFFFFFFF.",
     "Ошибка при обращении к функции StringRead.\nДлина файла превышает 0xFFFFFFFF."},
    {124, "Error accessing function UnmapViewOfFile for file \"%s\"",
     "Ошибка при обращении к функции UnmapViewOfFile для файла \"%s\""},
    {125, "Error accessing function CreateFileMapping for file \"%s\".\nBuffer size needs to be specified for a large file",
     "Ошибка при обращении к функции CreateFileMapping для файла \"%s\"./nДля файла большаго размера необходимо указать размер буфера"},
    {126, "Error accessing function CreateFileMapping for file \"%s\".\nBuffer size > 0x40000000 is indicated for file",
     "Ошибка при обращении к функции CreateFileMapping для файла \"%s\"./nДля файла указан размер буфера > 0x40000000"},
    {131, "Close file error for \"%s\"", "Ошибка при закрытии файла \"%s\""},
    {132, "Delete file error for \"%s\"", "Ошибка при удалении файла \"%s\""},
    {151, "ATTENTION: File is accessible as read-only", "ВНИМАНИЕ: Файл доступен только для чтения"},
    {152, "File is accessible as read-only\nSave it under another name",
     "Файл доступен только для чтения\nСохраните его под другим именем"},
    {161, "?VData:: index error.", "СVData:: Ошибка индекса."},
    {201, "Unable to allocate %ld bytes.\nMemory resource does not allow to continue the solution",
     "Невозможно выделить %lu байт.\nРесурсы памяти не позволяют продолжить решение задачи.\nВозможно, необходимо увеличить объем файла подкачки (Paging file)."},
    {202, "Memory allocation request exceeds  4Gb.", "Запрос на выделение памяти превышает 4Гб."},
    {203, "Error free memory.", "Ошибка освобождения памяти."},
    {301, "CBaseData: For the given class function CompressObject is not applied",
     "CBaseData: для данного класса функция CompressObject не применима"},
    {1001, "Invalid page fault", "Обращение к неверному адресу памяти"},
    {1002, "Alignment violation", "Нарушение выравнивания"},
    {1003, "Illegal breakpoint", "Неверная точка останова"},
    {1004, "Illegal tracing", "Неверная трассировка"},
    {1005, "Array overrun", "Выход за границы массива"},
    {1006, "Not normalized real number", "Ненормализованное действительное число"},
    {1007, "Wrong floating operation result", "Ошибочный результат пловающей операции"},
    {1008, "Floating point error", "Ошибка плавающей арифметики"},
    {1009, "Floating overflow", "Переполнение с плавающей точкой"},
    {1010, "Stack overflow (floating point)", "Переполнение стека(плавающая арифметика)"},
    {1011, "Floating underflow", "Исчезновение порядка с плавающей точкой"},
    {1012, "Divide by zero (integer)", "Деление на нуль(целочисленное)"},
    {1013, "Integer overflow", "Переполнение целочисленное"},
    {1014, "Priviliged operation", "Привилегированная операция"},
    {1015, "Page error", "Ошибка страницы"},
    {1016, "Illegal instruction", "Недопустимая инструкция"},
    {1017, "Cannot continue execution", "Невозможно продолжить выполнение"},
    {1018, "Stack overflow", "Переполнение стека"},
    {1019, "Exeption ERROR", "Exeption ERROR"},
    {1020, "Protected page call", "Обращение к защищенной странице"},
    {1021, "INVALID HANDLE", "INVALID HANDLE"},
    {1022, "Divide by zero", "Деление на 0"},
    {1051, "Mathematical error: %s\nFunction: %s\nArguments: %e %e",
     "Математическая ошибка: %s\nФункция: %s\nАргументы: %e %e"},
    {1101, "File \"%s\" was not closed before opening", "Файл \"%s\" перед открытием не закрыт"},
    {1110, "When reading, size of file \"%s\" was exceeded", "При чтении превышен размер файла \"%s\""},
    {1112, "When changing length of file \"%s\", its length was exceeded",
     "При изменении длины файла \"%s\" превышена его длина"},
    {1161, "?VData:: index error.", "СVData::Неверный индекс"},
    {1201, "Unable to allocate %ld bytes.\nMemory resource does not allow to continue the solution",
     "Невозможно выделить %ld байт.\nРесурсы памяти не позволяют продолжить решение задачи"},
    {1202, "Unable to allocate %ld bytes\nin block: %s.\nMemory resource does not allow to continue the solution",
     "Невозможно выделить %ld байт.\nв блоке: %s.\nРесурсы памяти не позволяют продолжить решение задачи"},
    {1301, "CBaseData: For the given class function CompressObject is not applied",
     "CBaseData: Для данного класса функция CompressObject неприменима"},
};

// Ids that repeat, in both languages, the texts of the id 1000 below them.
constexpr unsigned int copies[] = {1050, 1102, 1103, 1104, 1105, 1106, 1107, 1108, 1109, 1111, 1113, 1114, 1115,
                                   1116, 1117, 1118, 1119, 1120, 1121, 1122, 1123, 1124, 1125, 1126, 1151, 1152};

TEST(Catalogue, EveryIdHasItsTextInBothLanguagesAndNoOtherIdExists) {
  std::map<unsigned int, Expected> expected;
  for (const Expected& e : catalogue)
    expected[e.id] = e;
  for (const unsigned int id : copies)
    expected[id] = {id, expected.at(id - 1000).english, expected.at(id - 1000).russianUtf8};
  ASSERT_EQ(expected.size(), 92u);
  for (unsigned int id = 0; id <= 70000; ++id) {
    const char* english = internal::LibraryString(id, LanguageEnglish);
    const char* russian = internal::LibraryString(id, LanguageRussian);
    const auto e = expected.find(id);
    if (e == expected.end()) {
      EXPECT_TRUE(english == nullptr && russian == nullptr) << id;
      continue;
    }
    ASSERT_TRUE(english != nullptr && russian != nullptr) << id;
    EXPECT_EQ(std::string(english), e->second.english) << id;
    // Russian texts are single-byte Windows-1251, never UTF-8.
    EXPECT_EQ(std::string(russian), Utf8ToCp1251(e->second.russianUtf8)) << id;
    EXPECT_EQ(Cp1251ToUtf8(russian), e->second.russianUtf8) << id;
  }
  EXPECT_EQ(internal::LibraryString(0xFFFFFFFFu, LanguageEnglish), nullptr);
}

TEST(Catalogue, CompiledTableMatchesTheResourceScripts) {
  // The table is compiled at build time; this catches a stale build and any
  // difference between the compiler's reading and the run-time reader's.
  const std::string folder = std::string(ZEL_TEST_SOURCE_DIR) + "/../zeltools/resources/";
  internal::ScriptTables scripts = internal::ReadResourceScript(folder + "zeltools_en.rc");
  scripts.Merge(internal::ReadResourceScript(folder + "zeltools_ru.rc"), "zeltools_ru.rc");
  ASSERT_EQ(scripts.english.size(), 92u);
  ASSERT_EQ(scripts.russian.size(), 92u);
  for (const auto& [id, text] : scripts.english)
    EXPECT_EQ(internal::LibraryString(id, LanguageEnglish), text) << id;
  for (const auto& [id, text] : scripts.russian)
    EXPECT_EQ(internal::LibraryString(id, LanguageRussian), text) << id;
}

} // namespace
} // namespace zel
