#include "zeltools/rcscript/internal/rc_script.h"

#include <cstdint>
#include <memory>
#include <utility>

#include "zeltools/platform/platform.h"
#include "zeltools/rcscript/internal/rc_expression.h"
#include "zeltools/rcscript/internal/rc_lexer.h"
#include "zeltools/rcscript/language_ids.h"

namespace zel::internal {
namespace {

using namespace rc;

constexpr std::size_t MaxIncludeDepth = 16; // a file that includes itself
// Scripts are a few hundred kilobytes at most; anything far larger is not a
// script, and reading it whole would only exhaust memory.
constexpr std::uint64_t MaxFileSize = 64u << 20;
// An #include costs system calls whether or not the file is there or holds
// anything; it is charged as this much lexing.
constexpr std::size_t IncludeWork = 1024;

bool EndsWithNoCase(const std::string& text, const char* tail) {
  const std::string t(tail);
  return text.size() >= t.size() && EqualsNoCase(text.substr(text.size() - t.size()), tail);
}

std::string DirectoryOf(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

// The token stream of a script and the files it includes.
class Stream : public TokenSource {
public:
  Stream(Context& ctx, std::string text, const std::string* file) : ctx_(ctx), mainFile_(file) {
    ctx.Earn(*file, text.size());
    lexers_.push_back(std::make_unique<Lexer>(std::move(text), file, ctx, Mode::Script));
  }

  const Token& Peek() override {
    if (!peeked_) {
      peek_ = Read();
      peeked_ = true;
    }
    return peek_;
  }

  Token Take() override {
    Peek();
    peeked_ = false;
    return std::move(peek_);
  }

private:
  Token Read() {
    Token t;
    std::string include;
    while (!lexers_.empty()) {
      Lexer& top = *lexers_.back();
      const Lexer::Result r = top.Next(t, include);
      if (r == Lexer::GotToken)
        return t;
      if (r == Lexer::Finished) {
        if (lexers_.size() == 1)
          lastLine_ = top.LastLine();
        lexers_.pop_back();
        continue;
      }
      Open(top, include);
    }
    t = Token();
    t.file = mainFile_;
    t.line = lastLine_;
    return t;
  }

  void Open(const Lexer& from, std::string name) {
    for (char& c : name)
      if (c == '\\')
        c = '/';
    const std::string path = name[0] == '/' ? name : DirectoryOf(*from.File()) + name;
    ctx_.Charge(IncludeWork, *from.File(), from.Line());
    std::string contents;
    std::string identity;
    if (!ReadWholeFile(path, contents, &identity))
      return; // not beside the script: a system header (see the header comment)
    if (lexers_.size() >= MaxIncludeDepth)
      Fail(*from.File(), from.Line(), "#include nested too deeply");
    if (ctx_.filesRead != nullptr)
      ctx_.filesRead->push_back(path);
    ctx_.Earn(identity, contents.size());
    ctx_.fileNames.push_back(path);
    const bool header = EndsWithNoCase(path, ".h") || EndsWithNoCase(path, ".c") ||
                        EndsWithNoCase(path, ".hpp") || EndsWithNoCase(path, ".hh") ||
                        EndsWithNoCase(path, ".hxx");
    lexers_.push_back(std::make_unique<Lexer>(std::move(contents), &ctx_.fileNames.back(), ctx_,
                                              header ? Mode::DirectivesOnly : Mode::Script));
  }

  Context& ctx_;
  const std::string* mainFile_;
  std::vector<std::unique_ptr<Lexer>> lexers_;
  int lastLine_ = 1;
  Token peek_;
  bool peeked_ = false;
};

using Table = std::map<unsigned short, std::string>;

class Parser {
public:
  Parser(std::string_view text, const std::string& fileName, std::vector<std::string>* filesRead) {
    ctx_.filesRead = filesRead;
    ctx_.fileNames.push_back(fileName);
    stream_ = std::make_unique<Stream>(ctx_, std::string(text), &ctx_.fileNames.back());
  }

  ScriptTables Run() {
    Table* language = &tables_.english;
    for (;;) {
      const Token& t = stream_->Peek();
      if (t.kind == Kind::End)
        return std::move(tables_);
      if (IsKeyword(t, "STRINGTABLE")) {
        StringTable(language);
      } else if (IsKeyword(t, "LANGUAGE")) {
        stream_->Take();
        language = Language();
      } else if (IsBlockClose(t)) {
        FailAt(t, "\"" + t.text + "\" without BEGIN");
      } else {
        SkipStatement();
      }
    }
  }

private:
  // LANGUAGE primary, sub: the table that receives the strings, null for a
  // language other than the two of the catalogue.
  Table* Language() {
    Evaluator evaluator(ctx_, *stream_, "bad LANGUAGE statement", Names::Languages);
    const long long primary = evaluator.Expression() & 0x3FF;
    if (IsPunct(stream_->Peek(), ",")) {
      stream_->Take();
      evaluator.Expression();
    }
    if (primary == LangRussian)
      return &tables_.russian;
    if (primary == LangEnglish || primary == LangNeutral)
      return &tables_.english;
    return nullptr;
  }

  void StringTable(Table* table) {
    const Token start = stream_->Take();
    for (;;) { // options before the block
      const Token& t = stream_->Peek();
      if (IsBlockOpen(t)) {
        stream_->Take();
        break;
      }
      if (t.kind == Kind::End)
        FailAt(start, "unterminated block (STRINGTABLE without BEGIN)");
      if (IsKeyword(t, "LANGUAGE")) {
        stream_->Take();
        table = Language();
      } else if (IsKeyword(t, "CHARACTERISTICS") || IsKeyword(t, "VERSION")) {
        stream_->Take();
        Evaluator(ctx_, *stream_, "bad number").Expression();
      } else if (IsMemoryFlag(t)) {
        stream_->Take();
      } else {
        FailAt(t, "unknown statement \"" + Quoted(t.text) + "\" in a string table");
      }
    }
    Table dropped;
    for (;;) {
      const Token& t = stream_->Peek();
      if (IsBlockClose(t)) {
        stream_->Take();
        return;
      }
      if (t.kind == Kind::End)
        FailAt(start, "unterminated block (STRINGTABLE without END)");
      if (t.kind == Kind::String)
        FailAt(t, "a string without an id in a string table");
      if ((t.kind == Kind::Name && ctx_.macros.count(t.text) == 0) || t.kind == Kind::Other)
        FailAt(t, "unknown statement \"" + Quoted(t.text) + "\" in a string table");
      const Token first = t;
      const long long id = Evaluator(ctx_, *stream_, "bad string id").Expression();
      if (id < 0 || id > 0xFFFF)
        FailAt(first, "string id " + std::to_string(id) + " is out of range (0 to 65535)");
      if (IsPunct(stream_->Peek(), ","))
        stream_->Take();
      if (stream_->Peek().kind != Kind::String)
        FailAt(stream_->Peek(), "expected a string after id " + std::to_string(id));
      std::string text;
      while (stream_->Peek().kind == Kind::String)
        text += stream_->Take().text;
      Table& target = table != nullptr ? *table : dropped;
      if (!target.emplace(static_cast<unsigned short>(id), std::move(text)).second)
        FailAt(first, "string id " + std::to_string(id) + " is defined twice");
    }
  }

  static bool IsMemoryFlag(const Token& t) {
    for (const char* flag : {"DISCARDABLE", "PRELOAD", "LOADONCALL", "MOVEABLE", "FIXED", "PURE", "IMPURE",
                             "SHARED", "NONSHARED"})
      if (IsKeyword(t, flag))
        return true;
    return false;
  }

  // A statement the reader does not know: up to the end of the first block
  // that follows it, or up to the next STRINGTABLE or LANGUAGE keyword.
  void SkipStatement() {
    Token t = stream_->Take();
    for (;;) {
      if (IsBlockOpen(t)) {
        SkipBlock(t);
        return;
      }
      const Token& next = stream_->Peek();
      if (next.kind == Kind::End || IsKeyword(next, "STRINGTABLE") || IsKeyword(next, "LANGUAGE"))
        return;
      if (IsBlockClose(next))
        FailAt(next, "\"" + next.text + "\" without BEGIN");
      t = stream_->Take();
    }
  }

  void SkipBlock(const Token& open) {
    std::size_t depth = 1;
    while (depth > 0) {
      const Token t = stream_->Take();
      if (t.kind == Kind::End)
        FailAt(open, "unterminated block (BEGIN without END)");
      if (IsBlockOpen(t))
        ++depth;
      else if (IsBlockClose(t))
        --depth;
    }
  }

  Context ctx_;
  std::unique_ptr<Stream> stream_;
  ScriptTables tables_;
};

} // namespace

const std::string* ScriptTables::Find(unsigned int id, unsigned short langId) const noexcept {
  if (id > 0xFFFF)
    return nullptr;
  const auto key = static_cast<unsigned short>(id);
  const Table& first = langId == LanguageRussian ? russian : english;
  const Table& second = langId == LanguageRussian ? english : russian;
  auto found = first.find(key);
  if (found != first.end())
    return &found->second;
  found = second.find(key);
  return found != second.end() ? &found->second : nullptr;
}

void ScriptTables::Merge(const ScriptTables& other, const std::string& otherName) {
  for (auto [mine, theirs] : {std::pair{&english, &other.english}, std::pair{&russian, &other.russian}})
    for (const auto& [id, text] : *theirs)
      if (!mine->emplace(id, text).second)
        throw ScriptError(otherName + ": string id " + std::to_string(id) +
                          " is defined twice (also by an earlier script)");
}

bool ReadWholeFile(const std::string& path, std::string& contents, std::string* identity) {
  const auto& calls = platform::Calls();
  // Closed also when the buffer cannot be had and the caller turns that into
  // the library's failure.
  const std::unique_ptr<void, bool (*)(void*)> file(calls.fileOpenRegular(path.c_str()), calls.fileClose);
  if (file == nullptr)
    return false;
  std::int64_t size = 0;
  std::uint64_t device = 0, node = 0;
  bool ok = calls.fileSize(file.get(), size) && static_cast<std::uint64_t>(size) <= MaxFileSize &&
            (identity == nullptr || calls.fileIdentity(file.get(), device, node));
  if (ok && identity != nullptr)
    *identity = std::to_string(device) + ":" + std::to_string(node);
  if (ok) {
    contents.assign(static_cast<std::size_t>(size), '\0');
    ok = platform::ReadAt(file.get(), contents.data(), contents.size(), 0) == contents.size();
  }
  return ok;
}

ScriptTables ParseResourceScript(std::string_view text, const std::string& fileName,
                                 std::vector<std::string>* filesRead) {
  return Parser(text, fileName, filesRead).Run();
}

ScriptTables ReadResourceScript(const std::string& path, std::vector<std::string>* filesRead) {
  std::string text;
  if (!ReadWholeFile(path, text))
    throw ScriptError(path + ": cannot read the file");
  return ParseResourceScript(text, path, filesRead);
}

} // namespace zel::internal
