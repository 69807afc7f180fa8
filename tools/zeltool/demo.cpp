#include "demo.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <dlfcn.h>
#include <unistd.h>
#include <vector>

#include <zeltools/containers/vector.h>
#include <zeltools/containers/vector_array.h>
#include <zeltools/datastore/data.h>
#include <zeltools/datastore/data_file.h>
#include <zeltools/errors/language.h>
#include <zeltools/geometry/point_vectors.h>
#include <zeltools/numerics/band.h>
#include <zeltools/numerics/dense.h>
#include <zeltools/numerics/quadrature.h>
#include <zeltools/numerics/renumber.h>
#include <zeltools/rcscript/encoding.h>
#include <zeltools/text/file_print.h>
#include <zeltools/text/message.h>
#include <zeltools/text/phrase.h>
#include <zeltools/text/resource.h>

#include "demo_messages.h"
#include "document_file.h"

namespace zeltool {
namespace {

bool russian = false;

// The program's own texts, in UTF-8 (the terminal's encoding) in both
// languages side by side.
const char* T(const char* en, const char* ru) { return russian ? ru : en; }
// The same for printf formats, kept literal so that the compiler checks
// both languages' fields against the arguments.
#define ZELTOOL_FORMAT(en, ru) (russian ? ru : en)

// A failed check: the demo exists to show that the steps agree, so any
// disagreement ends it.
struct CheckFailed {
  std::string text;
};

void Check(bool ok, const std::string& what) {
  if (!ok)
    throw CheckFailed{what};
}

// The smallest power of ten above `v`: check figures near rounding level
// are shown as bounds, which stay the same from one machine to the next.
std::string Below(double v) {
  int e = -16;
  while (e < 300 && std::pow(10.0, e) <= v)
    ++e;
  return "< 1e" + std::to_string(e);
}

// A figure printed with `decimals` decimals, zero when it would print as
// zero: a bar force of -1e-14 kN must not show as "-0.000" on one machine
// and "0.000" on the next.
double Shown(double v, int decimals) { return std::fabs(v) < 0.5 * std::pow(10.0, -decimals) ? 0.0 : v; }

// Left-justifies UTF-8 text in `width` characters.
std::string Pad(const std::string& text, std::size_t width) {
  std::size_t chars = 0;
  for (unsigned char c : text)
    chars += (c & 0xC0) != 0x80;
  return text + std::string(width > chars ? width - chars : 0, ' ');
}

// Right-justifies UTF-8 text in `width` characters.
std::string Right(const std::string& text, std::size_t width) {
  const std::string padded = Pad(text, width);
  return padded.substr(text.size()) + text;
}

// --- the model --------------------------------------------------------------

// A Pratt truss: `Panels` panels along the bottom chord, the diagonals
// falling towards mid-span. Nodes are numbered along the bottom chord and
// then along the top one, as a drawing program would produce them: a poor
// numbering for the band solver, which renumbering repairs.
constexpr unsigned Panels = 12;
constexpr double PanelWidth = 2.0; // m
constexpr double Height = 2.5;     // m
constexpr double NodeLoad = -30;   // kN on each inner bottom node
constexpr double WindLoad = 12;    // kN along x on the top left node

// The data lines of the model's tables, stored as they stand.
struct MaterialLine {
  double modulus; // kN/m²
  double density; // kg/m³
};
static_assert(sizeof(MaterialLine) == 16, "stored layout of a material line");
struct SectionLine {
  double area;       // m²
  double radius;     // m, radius of gyration
  unsigned material; // line of the materials table
  unsigned reserved;
};
static_assert(sizeof(SectionLine) == 24, "stored layout of a section line");
// The head of the sections table: the design limits its sections are
// checked against.
struct DesignLimits {
  unsigned deflection;  // span / largest deflection, at least
  unsigned slenderness; // L / i of a compressed bar, at most
};
static_assert(sizeof(DesignLimits) == 8, "stored layout of the sections' head");

struct SectionRow {
  const char* en;
  const char* ru;
  double area;
  double radius;
};
constexpr SectionRow Sections[] = {
    {"chord", "пояс", 40e-4, 0.06}, {"post", "стойка", 15e-4, 0.02}, {"diagonal", "раскос", 25e-4, 0.025}};
constexpr MaterialLine Steel = {2.06e8, 7850};
constexpr DesignLimits Limits = {400, 120};

enum Fixity : unsigned char { FixX = 1, FixY = 2 };

// The type byte of a load row: its load case.
enum LoadCase : unsigned char { DeadLoad = 1, Wind = 2 };

// What the document holds.
struct Model {
  zel::VPoint2D nodes;                          // 1-based node numbers
  zel::VectorArray<unsigned, unsigned> bars;    // {node, node, section line}
  zel::CData materials;                         // named MaterialLine rows
  zel::_CData sections;                         // named SectionLine rows, DesignLimits head
  zel::VDblData loads;                          // {node, fx, fy} rows named and typed by case
  zel::Vector<unsigned char> supports;          // Fixity bits per node
};
constexpr unsigned ModelBlocks = 6;

// The tables' shapes: a reader is shaped as the writer was.
void ShapeTables(Model& m) {
  m.materials.Init(sizeof(MaterialLine), sizeof(MaterialLine), 0);
  m.sections.Init(sizeof(SectionLine), sizeof(SectionLine), 0, sizeof(DesignLimits));
}

template <class Line> Line LineOf(const zel::CData& table, unsigned n) {
  Line line{};
  std::memcpy(&line, table.GetData(n), sizeof line);
  return line;
}

// The design limits of a sections table; zero when it has no such head.
DesignLimits LimitsOf(const zel::_CData& sections) {
  DesignLimits limits{};
  if (sections.GetHead() != nullptr && sections.GetSizeHead() >= sizeof limits)
    std::memcpy(&limits, sections.GetHead(), sizeof limits);
  return limits;
}

// The program's texts go into the library in Windows-1251.
std::string W(const char* en, const char* ru);

Model BuildModel() {
  Model m;
  std::vector<unsigned> bottom, top;
  for (unsigned i = 0; i <= Panels; ++i)
    bottom.push_back(m.nodes.Add({i * PanelWidth, 0.0}, 1e-9));
  for (unsigned i = 0; i <= Panels; ++i)
    top.push_back(m.nodes.Add({i * PanelWidth, Height}, 1e-9));
  ShapeTables(m);
  const unsigned steel = m.materials.AddSize(1);
  m.materials.SetData(steel, &Steel);
  m.materials.SetText(steel, W("steel", "сталь").c_str());
  for (const SectionRow& s : Sections) {
    const unsigned n = m.sections.AddSize(1);
    const SectionLine line{s.area, s.radius, steel, 0};
    m.sections.SetData(n, &line);
    m.sections.SetText(n, W(s.en, s.ru).c_str());
  }
  m.sections.SetHead(&Limits, sizeof Limits);
  auto bar = [&m](unsigned a, unsigned b, unsigned section) {
    const unsigned list[3] = {a, b, section};
    m.bars.Append(3, list);
  };
  for (unsigned i = 0; i < Panels; ++i)
    bar(bottom[i], bottom[i + 1], 1);
  for (unsigned i = 0; i < Panels; ++i)
    bar(top[i], top[i + 1], 1);
  for (unsigned i = 0; i <= Panels; ++i)
    bar(bottom[i], top[i], 2);
  for (unsigned i = 0; i < Panels; ++i)
    if (2 * i < Panels)
      bar(top[i], bottom[i + 1], 3);
    else
      bar(bottom[i], top[i + 1], 3);
  auto load = [&m](LoadCase c, unsigned node, double fx, double fy) {
    const double values[3] = {double(node), fx, fy};
    const std::string name = c == DeadLoad ? W("dead load", "собственный вес") : W("wind", "ветер");
    m.loads.Append(name.c_str(), 3, values, c);
  };
  for (unsigned i = 1; i < Panels; ++i)
    load(DeadLoad, bottom[i], 0, NodeLoad);
  // The wind comes twice, as an input that holds it on two layers of a
  // drawing hands it over: the duplicate search keeps it once.
  load(Wind, top[0], WindLoad, 0);
  load(Wind, top[0], WindLoad, 0);
  m.supports.SetSize(m.nodes.GetSize(), 0);
  m.supports[bottom[0] - 1] = FixX | FixY;
  m.supports[bottom[Panels] - 1] = FixY;
  return m;
}

// --- the document -----------------------------------------------------------

// The document holds the model's blocks in `ModelBlocks` order, then its
// table of contents (document_file.h); its mark records when it was written
// and how long it was then.
zel::Vector<zel::DOCUMENT> WriteDocument(const std::string& path, Model& m) {
  zel::CFileWork file;
  file.Open(path.c_str(), "w");
  BeginDocument(file);
  zel::Vector<zel::DOCUMENT> contents;
  contents.SetSize(ModelBlocks);
  m.nodes.Write(file, contents[0], 1);
  m.bars.Write(file, contents[1]);
  m.materials.Write(file, contents[2], 1);
  m.sections.Write(file, contents[3], 1);
  m.loads.Write(file, contents[4], 1);
  m.supports.Write(file, contents[5], 1);
  zel::DOCUMENT where;
  EndDocument(file, contents, where);
  file.Close();
  contents.Append(where);
  return contents;
}

Model ReadDocument(const std::string& path) {
  zel::FILE_MARK mark;
  long long length = 0;
  zel::CFileWork::ReadMark(path.c_str(), mark, length);
  Check(mark.length == length, T("the document's mark does not match its length",
                                 "метка документа не совпадает с его длиной"));
  zel::CFileWork file;
  file.Open(path.c_str(), "r");
  Check(file.Check(mark) != 0, T("the document's mark changed on opening", "метка документа изменилась при открытии"));
  zel::DOCUMENT where;
  const zel::Vector<zel::DOCUMENT> contents = ReadContents(file, where);
  Check(contents.GetSize() == ModelBlocks, T("the table of contents lists the wrong number of blocks",
                                             "оглавление перечисляет не то число блоков"));
  Model m;
  ShapeTables(m);
  m.nodes.Read(file, contents[0]);
  m.bars.Read(file, contents[1]);
  m.materials.Read(file, contents[2]);
  m.sections.Read(file, contents[3]);
  m.loads.Read(file, contents[4]);
  m.supports.Read(file, contents[5]);
  return m;
}

// Same lines: texts and stored data bytes.
bool SameTable(const zel::CData& a, const zel::CData& b) {
  bool same = a.GetSize() == b.GetSize();
  for (unsigned n = 1; same && n <= a.GetSize(); ++n)
    same = std::strcmp(a.GetText(n), b.GetText(n)) == 0 &&
           std::memcmp(a.GetData(n), b.GetData(n), a.GetDataLength()) == 0;
  return same;
}

// Same rows: names, types and values.
bool SameRows(const zel::VDblData& a, const zel::VDblData& b) {
  bool same = SameTable(a, b);
  for (unsigned n = 1; same && n <= a.GetSize(); ++n) {
    const zel::SData *x = a.GetBase(n, 0), *y = b.GetBase(n, 0);
    same = x->count == y->count && (x->count == 0 || std::memcmp(x->list, y->list, x->count * sizeof(double)) == 0);
  }
  return same;
}

// The applied forces per degree of freedom (fx, fy per node): the rows of
// every case added, so that loads on one node from several cases sum.
std::vector<double> NodalForces(const Model& m) {
  std::vector<double> f(2 * m.nodes.GetSize(), 0.0);
  for (unsigned n = 1; n <= m.loads.GetSize(); ++n) {
    const zel::SData* row = m.loads.GetBase(n, 0);
    const auto* v = static_cast<const double*>(row->list);
    Check(row->count == 3 && v[0] >= 1 && v[0] <= m.nodes.GetSize(),
          T("a load row does not name a node of the model", "строка нагрузки не указывает узел модели"));
    const unsigned node = static_cast<unsigned>(v[0]) - 1;
    f[2 * node] += v[1];
    f[2 * node + 1] += v[2];
  }
  return f;
}

bool SameModel(const Model& a, const Model& b) {
  bool same = a.nodes.GetSize() == b.nodes.GetSize() && a.bars.GetSize() == b.bars.GetSize() &&
              SameTable(a.materials, b.materials) && SameTable(a.sections, b.sections) &&
              LimitsOf(a.sections).deflection == LimitsOf(b.sections).deflection &&
              LimitsOf(a.sections).slenderness == LimitsOf(b.sections).slenderness &&
              SameRows(a.loads, b.loads) && a.supports == b.supports;
  for (unsigned i = 0; same && i < a.nodes.GetSize(); ++i)
    same = a.nodes[i].x == b.nodes[i].x && a.nodes[i].y == b.nodes[i].y;
  for (unsigned i = 0; same && i < a.bars.GetSize(); ++i)
    same = a.bars.GetElemSize(i) == b.bars.GetElemSize(i) &&
           std::equal(a.bars.GetElemPoint(i), a.bars.GetElemPoint(i) + a.bars.GetElemSize(i), b.bars.GetElemPoint(i));
  return same;
}

// Removes the temporary document however the demo ends.
struct RemoveAtEnd {
  std::string path;
  ~RemoveAtEnd() {
    std::error_code ignored;
    if (!path.empty())
      std::filesystem::remove(path, ignored);
  }
};

// --- the analysis -----------------------------------------------------------

struct Bar {
  unsigned a, b; // 0-based nodes
  unsigned section; // line of the sections table
  double length, c, s, area, ea, density, slenderness;
};

std::vector<Bar> Bars(const Model& m) {
  std::vector<Bar> bars;
  for (unsigned i = 0; i < m.bars.GetSize(); ++i) {
    const unsigned* list = m.bars[i]->elements;
    Bar e{list[0] - 1, list[1] - 1, list[2], 0, 0, 0, 0, 0, 0, 0};
    const auto section = LineOf<SectionLine>(m.sections, list[2]);
    const auto material = LineOf<MaterialLine>(m.materials, section.material);
    const double dx = m.nodes[e.b].x - m.nodes[e.a].x, dy = m.nodes[e.b].y - m.nodes[e.a].y;
    e.length = std::sqrt(dx * dx + dy * dy);
    e.c = dx / e.length;
    e.s = dy / e.length;
    e.area = section.area;
    e.ea = material.modulus * section.area;
    e.density = material.density;
    e.slenderness = e.length / section.radius;
    bars.push_back(e);
  }
  return bars;
}

// The four degrees of freedom of a bar (x, y of each end) and its stiffness
// k = EA/L · [g·gᵀ] with g = (-c, -s, c, s).
void BarStiffness(const Bar& e, unsigned dof[4], double k[4][4]) {
  const double g[4] = {-e.c, -e.s, e.c, e.s};
  dof[0] = 2 * e.a, dof[1] = 2 * e.a + 1, dof[2] = 2 * e.b, dof[3] = 2 * e.b + 1;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      k[i][j] = e.ea / e.length * g[i] * g[j];
}

constexpr unsigned Fixed = ~0u;

double MaxAbs(const std::vector<double>& v) {
  double r = 0;
  for (double x : v)
    r = std::max(r, std::fabs(x));
  return r;
}

// --- the report -------------------------------------------------------------

struct Results {
  const std::vector<Bar>& bars;
  const std::vector<double>& u;        // m, per degree of freedom
  const std::vector<double>& force;    // kN, per bar
  const std::vector<double>& reaction; // kN, per degree of freedom
  const std::vector<unsigned>& equation;
  const std::string (&equilibrium)[2]; // the two lines of the check
  const zel::CPhrase& notes;
};

std::string W(const char* en, const char* ru) { return zel::Utf8ToCp1251(T(en, ru)); }

// The paginated report, converted to UTF-8 so that it reads as the
// terminal does. Returns the number of pages.
unsigned WriteReport(const std::string& path, const Model& model, const Results& r) {
  zel::CFilePrint print;
  print.SetEncoding(zel::CFilePrint::EncodingUtf8);
  print.SetHead(W("ZelTools demo: plane truss", "Пример ZelTools: плоская ферма").c_str());
  print.SetFoot(W("zeltool demo", "zeltool demo").c_str());
  print.Open(path.c_str(), nullptr, 1);
  char text[256];
  std::snprintf(text, sizeof text,
                ZELTOOL_FORMAT("Pratt truss of %u panels of %g m, height %g m\nDisplacements, bar forces, reactions",
                               "Ферма Пратта из %u панелей по %g м, высота %g м\nПеремещения, усилия, реакции"),
                Panels, PanelWidth, Height);
  print.Title(zel::Utf8ToCp1251(text).c_str());
  std::snprintf(text, sizeof text,
                ZELTOOL_FORMAT("%u nodes, %u bars; steel, E = %g kN/m2. Bottom chord loaded with %g kN at every "
                               "inner node, %g kN along x at the top left node; pinned at node 1, on rollers at "
                               "node %u.",
                               "%u узлов, %u стержней; сталь, E = %g кН/м2. Нижний пояс нагружен силой %g кН в "
                               "каждом внутреннем узле, %g кН по x в левом верхнем узле; шарнир в узле 1, каток "
                               "в узле %u."),
                model.nodes.GetSize(), model.bars.GetSize(), LineOf<MaterialLine>(model.materials, 1).modulus,
                NodeLoad, WindLoad, Panels + 1);
  print.Text(zel::Utf8ToCp1251(text).c_str());
  print.Blank();

  using P = zel::CFilePrint;
  const std::string section = W("Section", "Сечение"), area = W("A, m2", "A, м2"), radius = W("i, m", "i, м");
  const zel::SPrintColumn sections[] = {
      {section.c_str(), 10, P::AlignLeft, nullptr}, {area.c_str(), 9, P::AlignRight, "%.4f"},
      {radius.c_str(), 7, P::AlignRight, "%.3f"}};
  print.BeginTable(3, sections, 1);
  for (unsigned n = 1; n <= model.sections.GetSize(); ++n) {
    const auto line = LineOf<SectionLine>(model.sections, n);
    print.Cell(model.sections.GetText(n));
    print.Cell(line.area);
    print.Cell(line.radius);
  }
  print.EndTable();
  print.Blank();

  const std::string node = W("Node", "Узел"), ux = W("u, mm", "u, мм"), uy = W("v, mm", "v, мм");
  print.Text(W("Displacements", "Перемещения").c_str());
  const zel::SPrintColumn displacements[] = {
      {node.c_str(), 5, P::AlignRight, "%d"},      {"x, m", 7, P::AlignRight, "%.2f"},
      {"y, m", 7, P::AlignRight, "%.2f"},          {ux.c_str(), 10, P::AlignRight, "%.4f"},
      {uy.c_str(), 10, P::AlignRight, "%.4f"}};
  print.BeginTable(5, displacements, 1);
  for (unsigned i = 0; i < model.nodes.GetSize(); ++i) {
    print.Cell(i + 1);
    print.Cell(model.nodes[i].x);
    print.Cell(model.nodes[i].y);
    print.Cell(Shown(r.u[2 * i] * 1e3, 4));
    print.Cell(Shown(r.u[2 * i + 1] * 1e3, 4));
  }
  print.EndTable();
  print.Blank();

  const std::string bar = W("Bar", "Стер."), length = W("L, m", "L, м"), force = W("N, kN", "N, кН"),
                    slenderness = W("L/i", "L/i");
  // The forces fill a page of their own, so that no table is split.
  print.NewPage();
  print.Text(W("Bar forces (tension +)", "Усилия в стержнях (растяжение +)").c_str());
  const zel::SPrintColumn forces[] = {
      {bar.c_str(), 5, P::AlignRight, "%d"},     {"i", 4, P::AlignRight, "%d"},
      {"j", 4, P::AlignRight, "%d"},             {section.c_str(), 10, P::AlignLeft, nullptr},
      {length.c_str(), 7, P::AlignRight, "%.3f"}, {slenderness.c_str(), 6, P::AlignRight, "%.0f"},
      {force.c_str(), 10, P::AlignRight, "%.3f"}};
  print.BeginTable(7, forces, 1);
  for (std::size_t b = 0; b < r.bars.size(); ++b) {
    const Bar& e = r.bars[b];
    print.Cell(static_cast<unsigned>(b + 1));
    print.Cell(e.a + 1);
    print.Cell(e.b + 1);
    print.Cell(model.sections.GetText(e.section));
    print.Cell(e.length);
    print.Cell(e.slenderness);
    print.Cell(Shown(r.force[b], 3));
  }
  print.EndTable();
  print.Blank();

  const std::string direction = W("Direction", "Направление"), value = W("R, kN", "R, кН");
  print.Text(W("Reactions", "Реакции").c_str());
  const zel::SPrintColumn reactions[] = {{node.c_str(), 5, P::AlignRight, "%d"},
                                         {direction.c_str(), 11, P::AlignLeft, nullptr},
                                         {value.c_str(), 12, P::AlignRight, "%.4f"}};
  print.BeginTable(3, reactions, 1);
  for (unsigned d = 0; d < r.equation.size(); ++d)
    if (r.equation[d] == Fixed) {
      print.Cell(d / 2 + 1);
      print.Cell(d % 2 == 0 ? "x" : "y");
      print.Cell(Shown(r.reaction[d], 4));
    }
  print.EndTable();
  print.Blank();

  print.Text(W("Equilibrium", "Равновесие").c_str());
  for (const std::string& line : r.equilibrium)
    print.Text(zel::Utf8ToCp1251(line).c_str(), 2);
  print.Blank();
  print.Text(W("Design checks", "Проверки конструкции").c_str());
  for (const zel::CPhraseText& note : r.notes)
    print.Text(note.GetText(), 2);
  if (print.Close() == 0)
    throw std::runtime_error("demo: " + path + ": " + T("the report could not be written", "отчёт не записан"));
  return print.GetPage() - 1;
}


void Step(int number, const std::string& title) { std::printf("\n%d. %s\n", number, title.c_str()); }

void Analyse(Model& model, const std::string& path, const std::string& report) {
  const unsigned nodes = model.nodes.GetSize();
  std::printf("%s\n", T("ZelTools demo: a plane truss from model to report",
                        "Пример ZelTools: плоская ферма от модели до отчёта"));

  Step(1, T("Model", "Модель"));
  const std::vector<double> built = NodalForces(model);
  unsigned loaded = 0, constraints = 0, cases = 0;
  for (unsigned n = 1; n <= model.loads.GetSize(); ++n) {
    const unsigned char type = model.loads.GetType(n);
    unsigned first = 1;
    while (model.loads.GetType(first) != type)
      ++first;
    cases += first == n;
  }
  for (unsigned i = 0; i < nodes; ++i) {
    loaded += built[2 * i] != 0 || built[2 * i + 1] != 0;
    constraints += ((model.supports[i] & FixX) != 0) + ((model.supports[i] & FixY) != 0);
  }
  std::printf(ZELTOOL_FORMAT("   %u nodes (VPoint2D), %u bars (VectorArray of node lists),\n"
                "   %u sections and %u material (named _CData rows, design limits in the head),\n"
                "   %u load rows in %u cases (named VDblData rows: node, fx, fy) on %u nodes,\n"
                "   %u support constraints\n",
                "   %u узлов (VPoint2D), %u стержней (VectorArray списков узлов),\n"
                "   сечений: %u, материалов: %u (именованные строки _CData, пределы в заголовке),\n"
                "   строк нагрузок: %u в %u случаях (именованные строки VDblData: узел, fx, fy), узлов: %u,\n"
                "   опорных связей: %u\n"),
              nodes, model.bars.GetSize(), model.sections.GetSize(), model.materials.GetSize(), model.loads.GetSize(),
              cases, loaded, constraints);
  for (unsigned n = 1; n <= model.sections.GetSize(); ++n) {
    const auto line = LineOf<SectionLine>(model.sections, n);
    std::printf("   %s A = %.4g %s, i = %.3g %s, %s\n", Pad(zel::Cp1251ToUtf8(model.sections.GetText(n)), 9).c_str(),
                line.area, T("m2", "м2"), line.radius, T("m", "м"),
                zel::Cp1251ToUtf8(model.materials.GetText(line.material)).c_str());
  }

  Step(2, T("Document of blocks", "Документ из блоков"));
  const zel::Vector<zel::DOCUMENT> contents = WriteDocument(path, model);
  const char* names[] = {"nodes", "bars", "materials", "sections", "loads", "supports", "contents"};
  const char* namesRu[] = {"узлы", "стержни", "материалы", "сечения", "нагрузки", "опоры", "оглавление"};
  std::printf("   %s %s %s\n", Pad(T("block", "блок"), 10).c_str(), Right(T("position", "позиция"), 10).c_str(),
              Right(T("length", "длина"), 8).c_str());
  for (unsigned i = 0; i < contents.GetSize(); ++i)
    std::printf("   %s %10lld %8lld\n", Pad(T(names[i], namesRu[i]), 10).c_str(), contents[i].position,
                contents[i].length);
  const Model back = ReadDocument(path);
  Check(SameModel(model, back), T("the document read back differs from the model written",
                                  "прочитанный документ отличается от записанного"));
  // The solve takes its loads from the rows read back.
  const std::vector<double> applied = NodalForces(back);
  std::printf("   %s\n", T("a work file: its mark (time, length) matches the file's length",
                           "рабочий файл: его метка (время, длина) совпадает с длиной файла"));
  std::printf("   %s\n", T("read back through the table of contents: every block equals what was written",
                           "прочитано по оглавлению: каждый блок совпадает с записанным"));

  Step(3, T("Equations and renumbering", "Уравнения и перенумерация"));
  std::vector<unsigned> equation(2 * nodes, Fixed);
  unsigned n = 0;
  for (unsigned i = 0; i < nodes; ++i)
    for (unsigned d = 0; d < 2; ++d)
      if ((model.supports[i] & (d == 0 ? FixX : FixY)) == 0)
        equation[2 * i + d] = n++;
  const std::vector<Bar> bars = Bars(model);
  std::vector<std::vector<unsigned>> neighbours(n);
  for (const Bar& e : bars) {
    unsigned dof[4];
    double k[4][4];
    BarStiffness(e, dof, k);
    for (unsigned i : dof)
      for (unsigned j : dof)
        if (equation[i] != Fixed && equation[j] != Fixed && i != j)
          neighbours[equation[i]].push_back(equation[j]);
  }
  std::vector<unsigned> start{0}, adjacent;
  for (const auto& list : neighbours) {
    adjacent.insert(adjacent.end(), list.begin(), list.end());
    start.push_back(static_cast<unsigned>(adjacent.size()));
  }
  const zel::SRenumber renumber = zel::RenumberBand(n, start.data(), adjacent.data());
  std::printf(ZELTOOL_FORMAT("   %u unknowns; the packed triangle holds %u values\n"
                "   band profile %llu in the model's numbering, %llu after RenumberBand\n",
                "   %u неизвестных; упакованный треугольник содержит %u значений\n"
                "   профиль ленты %llu в нумерации модели, %llu после RenumberBand\n"),
              n, zel::MatrElemSize(n), renumber.profileBefore, renumber.profileAfter);

  Step(4, T("Stiffness and solution", "Жёсткость и решение"));
  std::vector<double> packed(zel::MatrElemSize(n), 0.0), dense(std::size_t(n) * n, 0.0);
  for (const Bar& e : bars) {
    unsigned dof[4];
    double k[4][4];
    BarStiffness(e, dof, k);
    for (int i = 0; i < 4; ++i)
      for (int j = 0; j < 4; ++j) {
        const unsigned p = equation[dof[i]], q = equation[dof[j]];
        if (p == Fixed || q == Fixed)
          continue;
        dense[std::size_t(p) * n + q] += k[i][j];
        // Both triangles share one packed value: add each pair once.
        if (renumber.position[p] <= renumber.position[q])
          packed[zel::IndexMatrTriang(n, renumber.position[p], renumber.position[q])] += k[i][j];
      }
  }
  std::vector<double> load(n), tape(n);
  for (unsigned d = 0; d < 2 * nodes; ++d)
    if (equation[d] != Fixed) {
      load[equation[d]] = applied[d];
      tape[renumber.position[equation[d]]] = applied[d];
    }
  zel::GaussTape(n, packed.data(), 1, tape.data());
  std::vector<double> gauss = load;
  zel::Gauss(n, dense.data(), 1, gauss.data(), 0, 0.0);
  double difference = 0;
  for (unsigned p = 0; p < n; ++p)
    difference = std::max(difference, std::fabs(tape[renumber.position[p]] - gauss[p]));
  difference /= MaxAbs(gauss);
  std::printf(ZELTOOL_FORMAT("   GaussTape on the renumbered packed triangle; Gauss (dense, model's numbering)\n"
                "   agrees: largest difference %s of the largest displacement\n",
                "   GaussTape на перенумерованном упакованном треугольнике; Gauss (плотная матрица,\n"
                "   нумерация модели) совпадает: наибольшая разность %s наибольшего перемещения\n"),
              Below(difference).c_str());
  Check(difference < 1e-10, T("GaussTape and Gauss disagree", "GaussTape и Gauss не совпадают"));

  std::vector<double> u(2 * nodes, 0.0);
  for (unsigned d = 0; d < 2 * nodes; ++d)
    if (equation[d] != Fixed)
      u[d] = tape[renumber.position[equation[d]]];

  // Bar forces, and the inner forces they put on the nodes.
  std::vector<double> force(bars.size()), inner(2 * nodes, 0.0);
  double largestForce = 0;
  for (std::size_t b = 0; b < bars.size(); ++b) {
    const Bar& e = bars[b];
    force[b] = e.ea / e.length * (e.c * (u[2 * e.b] - u[2 * e.a]) + e.s * (u[2 * e.b + 1] - u[2 * e.a + 1]));
    inner[2 * e.a] -= force[b] * e.c;
    inner[2 * e.a + 1] -= force[b] * e.s;
    inner[2 * e.b] += force[b] * e.c;
    inner[2 * e.b + 1] += force[b] * e.s;
    largestForce = std::max(largestForce, std::fabs(force[b]));
  }
  std::vector<double> reaction(2 * nodes, 0.0), unbalanced;
  for (unsigned d = 0; d < 2 * nodes; ++d)
    if (equation[d] == Fixed)
      reaction[d] = inner[d] - applied[d];
    else
      unbalanced.push_back(inner[d] - applied[d]);

  Step(5, T("Results", "Результаты"));
  // Ties are real here (the middle post carries nothing, so its ends move
  // alike): the first node within rounding of the largest is the one named.
  std::vector<double> deflection(nodes);
  for (unsigned i = 0; i < nodes; ++i)
    deflection[i] = std::fabs(u[2 * i + 1]);
  const double largestDeflection = MaxAbs(deflection);
  unsigned deflected = 0;
  while (deflected + 1 < nodes && deflection[deflected] < largestDeflection * (1 - 1e-9))
    ++deflected;
  std::size_t tension = 0, compression = 0;
  for (std::size_t b = 1; b < bars.size(); ++b) {
    tension = force[b] > force[tension] * (1 + 1e-9) ? b : tension;
    compression = force[b] < force[compression] * (1 + 1e-9) ? b : compression;
  }
  std::printf(ZELTOOL_FORMAT("   largest deflection %.4f mm at node %u\n"
                             "   largest tension %.3f kN in bar %zu, largest compression %.3f kN in bar %zu\n",
                             "   наибольший прогиб %.4f мм в узле %u\n"
                             "   наибольшее растяжение %.3f кН в стержне %zu, наибольшее сжатие %.3f кН в стержне %zu\n"),
              largestDeflection * 1e3, deflected + 1, force[tension], tension + 1, force[compression], compression + 1);
  for (unsigned d = 0; d < 2 * nodes; ++d)
    if (equation[d] == Fixed)
      std::printf(ZELTOOL_FORMAT("   reaction %s at node %u: %.4f kN\n", "   реакция %s в узле %u: %.4f кН\n"),
                  d % 2 == 0 ? "Rx" : "Ry", d / 2 + 1, Shown(reaction[d], 4));

  Step(6, T("Quadrature of bar results", "Интегрирование результатов по стержням"));
  // Strain energy U = Σ ∫ N²/(2EA) ds and steel volume Σ ∫ A ds by the
  // two-point Gauss rule mapped onto each bar; Clapeyron's theorem gives
  // U = ½ Σ F·u, the check of the whole solution by energy.
  double energy = 0, volume = 0, mass = 0, work = 0;
  for (std::size_t b = 0; b < bars.size(); ++b) {
    const Bar& e = bars[b];
    unsigned count = 0;
    double w[8], x[8], y[8];
    zel::NumericalIntegrationLine(2, model.nodes[e.a].x, model.nodes[e.a].y, model.nodes[e.b].x, model.nodes[e.b].y,
                                  count, w, x, y);
    for (unsigned k = 0; k < count; ++k) {
      energy += w[k] * force[b] * force[b] / (2 * e.ea);
      volume += w[k] * e.area;
      mass += w[k] * e.area * e.density;
    }
  }
  for (unsigned d = 0; d < 2 * nodes; ++d)
    work += 0.5 * applied[d] * u[d];
  const double energyGap = std::fabs(energy - work) / work;
  std::printf(ZELTOOL_FORMAT("   strain energy U = %.6g kN*m; work of the loads F*u/2 = %.6g kN*m; relative gap %s\n"
                             "   steel: %.4g m3, %.5g kg\n",
                             "   энергия деформации U = %.6g кН*м; работа нагрузок F*u/2 = %.6g кН*м; отн. разница %s\n"
                             "   сталь: %.4g м3, %.5g кг\n"),
              energy, work, Below(energyGap).c_str(), volume, mass);
  Check(energyGap < 1e-9, T("the strain energy differs from the work of the loads",
                            "энергия деформации отличается от работы нагрузок"));

  Step(7, T("Equilibrium", "Равновесие"));
  double sx = 0, sy = 0, moment = 0, scale = 0;
  for (unsigned i = 0; i < nodes; ++i) {
    const double fx = applied[2 * i] + reaction[2 * i], fy = applied[2 * i + 1] + reaction[2 * i + 1];
    sx += fx;
    sy += fy;
    moment += model.nodes[i].x * fy - model.nodes[i].y * fx;
    scale = std::max({scale, std::fabs(applied[2 * i]), std::fabs(applied[2 * i + 1])});
  }
  const double span = Panels * PanelWidth;
  const double globalGap = std::max({std::fabs(sx), std::fabs(sy), std::fabs(moment) / span}) / scale;
  const double nodeGap = MaxAbs(unbalanced) / scale;
  std::string equilibrium[2];
  char line[256];
  std::snprintf(line, sizeof line,
                ZELTOOL_FORMAT("loads plus reactions: sum X %s, sum Y %s, sum M %s (relative to the largest load)",
                               "нагрузки и реакции: сумма X %s, сумма Y %s, сумма M %s (к наибольшей нагрузке)"),
                Below(std::fabs(sx) / scale).c_str(), Below(std::fabs(sy) / scale).c_str(),
                Below(std::fabs(moment) / span / scale).c_str());
  equilibrium[0] = line;
  std::snprintf(line, sizeof line,
                ZELTOOL_FORMAT("largest out-of-balance force at a free node: %s of the largest load",
                               "наибольшая неуравновешенная сила в свободном узле: %s наибольшей нагрузки"),
                Below(nodeGap).c_str());
  equilibrium[1] = line;
  std::printf("   %s\n   %s\n", equilibrium[0].c_str(), equilibrium[1].c_str());
  Check(globalGap < 1e-9 && nodeGap < 1e-9, T("the truss is not in equilibrium", "ферма не в равновесии"));

  Step(8, T("Design checks (CMessage)", "Проверки конструкции (CMessage)"));
  // The messages are the program's own, compiled into it from
  // demo_messages.rc; their texts are Windows-1251 like the library's.
  zel::CResurce resources;
  resources.Init("zeltool", dlopen(nullptr, RTLD_NOW));
  zel::CPhrase notes;
  zel::CMessage messages;
  messages.Init(resources, notes);
  const double ratio = span / largestDeflection;
  const DesignLimits limits = LimitsOf(model.sections);
  messages.Put((ratio < limits.deflection ? IDM_DEFLECTION_LARGE : IDM_DEFLECTION_OK) / 10, largestDeflection * 1e3,
               deflected + 1, ratio, limits.deflection);
  zel::Vector<unsigned> idle, slender;
  for (std::size_t b = 0; b < bars.size(); ++b) {
    const bool carries = std::fabs(force[b]) > 1e-9 * largestForce;
    if (!carries)
      idle.Append(static_cast<unsigned>(b + 1));
    else if (force[b] < 0 && bars[b].slenderness > limits.slenderness)
      slender.Append(static_cast<unsigned>(b + 1));
  }
  messages.PutList(idle, IDM_ZERO_FORCE, idle.GetSize());
  messages.PutList(slender, IDM_SLENDER, limits.slenderness);
  for (const zel::CPhraseText& note : notes)
    std::printf("   %s\n", zel::Cp1251ToUtf8(note.GetText()).c_str());
  std::printf(ZELTOOL_FORMAT("   %u warnings, %u errors\n", "   предупреждений: %u, ошибок: %u\n"),
              messages.GetQuantityWarning(), messages.GetQuantityError());

  Step(9, T("Report (CFilePrint)", "Отчёт (CFilePrint)"));
  const Results results{bars, u, force, reaction, equation, equilibrium, notes};
  const unsigned pages = WriteReport(report, model, results);
  std::printf(ZELTOOL_FORMAT("   %u pages of displacements, bar forces, reactions and equilibrium written to\n   %s\n",
                             "   %u стр. перемещений, усилий, реакций и проверки равновесия записаны в\n   %s\n"),
              pages, report.c_str());
  std::printf("\n%s\n", T("All checks passed.", "Все проверки пройдены."));
}

} // namespace

int RunDemo(const Command& command) {
  russian = command.language == Language::Russian ||
            (command.language == Language::FromEnvironment && zel::GetThreadUILanguage() == zel::LanguageRussian);
  // The program's messages are read in the thread's language.
  zel::SetThreadUILanguage(russian ? zel::LanguageRussian : zel::LanguageEnglish);
  RemoveAtEnd temporary;
  std::string path = command.keep;
  if (path.empty()) {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    path = ((error ? std::filesystem::path("/tmp") : folder) / ("zeltool-demo-" + std::to_string(getpid()) + ".zel"))
               .string();
    temporary.path = path;
  }
  Model model = BuildModel();
  try {
    Analyse(model, path, command.report);
  } catch (const CheckFailed& failed) {
    std::fflush(stdout);
    std::fprintf(stderr, "zeltool demo: %s: %s\n", T("check failed", "проверка не пройдена"), failed.text.c_str());
    return 2;
  }
  return 0;
}

} // namespace zeltool
