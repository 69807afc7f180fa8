#include "demo.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

#include <zeltools/containers/vector.h>
#include <zeltools/containers/vector_array.h>
#include <zeltools/errors/language.h>
#include <zeltools/geometry/point_vectors.h>
#include <zeltools/numerics/band.h>
#include <zeltools/numerics/dense.h>
#include <zeltools/numerics/quadrature.h>
#include <zeltools/numerics/renumber.h>

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
constexpr double Modulus = 2.06e8; // kN/m², steel
constexpr double Density = 7850;   // kg/m³
constexpr double NodeLoad = -30;   // kN on each inner bottom node
constexpr double WindLoad = 12;    // kN along x on the top left node

struct SectionRow {
  const char* en;
  const char* ru;
  double area; // m²
};
constexpr SectionRow Sections[] = {
    {"chord", "пояс", 40e-4}, {"post", "стойка", 15e-4}, {"diagonal", "раскос", 25e-4}};

enum Fixity : unsigned char { FixX = 1, FixY = 2 };

// What the document holds. Sections and materials become `_CData` rows with
// names and a head, and the loads `VDblData` rows, when the data store is
// part of the library; until then they are plain vectors of numbers.
struct Model {
  zel::VPoint2D nodes;                          // 1-based node numbers
  zel::VectorArray<unsigned, unsigned> bars;    // {node, node, section}
  zel::Vector<double> areas;                    // per section
  zel::Vector<double> loads;                    // fx, fy per node
  zel::Vector<unsigned char> supports;          // Fixity bits per node
};
constexpr unsigned ModelBlocks = 5;

Model BuildModel() {
  Model m;
  std::vector<unsigned> bottom, top;
  for (unsigned i = 0; i <= Panels; ++i)
    bottom.push_back(m.nodes.Add({i * PanelWidth, 0.0}, 1e-9));
  for (unsigned i = 0; i <= Panels; ++i)
    top.push_back(m.nodes.Add({i * PanelWidth, Height}, 1e-9));
  auto bar = [&m](unsigned a, unsigned b, unsigned section) {
    const unsigned list[3] = {a, b, section};
    m.bars.Append(3, list);
  };
  for (unsigned i = 0; i < Panels; ++i)
    bar(bottom[i], bottom[i + 1], 0);
  for (unsigned i = 0; i < Panels; ++i)
    bar(top[i], top[i + 1], 0);
  for (unsigned i = 0; i <= Panels; ++i)
    bar(bottom[i], top[i], 1);
  for (unsigned i = 0; i < Panels; ++i)
    if (2 * i < Panels)
      bar(top[i], bottom[i + 1], 2);
    else
      bar(bottom[i], top[i + 1], 2);
  for (const SectionRow& s : Sections)
    m.areas.Append(s.area);
  m.loads.SetSize(2 * m.nodes.GetSize(), 0.0);
  for (unsigned i = 1; i < Panels; ++i)
    m.loads[2 * (bottom[i] - 1) + 1] = NodeLoad;
  m.loads[2 * (top[0] - 1)] = WindLoad;
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
  m.areas.Write(file, contents[2], 1);
  m.loads.Write(file, contents[3], 1);
  m.supports.Write(file, contents[4], 1);
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
  m.nodes.Read(file, contents[0]);
  m.bars.Read(file, contents[1]);
  m.areas.Read(file, contents[2]);
  m.loads.Read(file, contents[3]);
  m.supports.Read(file, contents[4]);
  return m;
}

bool SameModel(const Model& a, const Model& b) {
  bool same = a.nodes.GetSize() == b.nodes.GetSize() && a.bars.GetSize() == b.bars.GetSize() &&
              a.areas == b.areas && a.loads == b.loads && a.supports == b.supports;
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
  unsigned section;
  double length, c, s, ea;
};

std::vector<Bar> Bars(const Model& m) {
  std::vector<Bar> bars;
  for (unsigned i = 0; i < m.bars.GetSize(); ++i) {
    const unsigned* list = m.bars[i]->elements;
    Bar e{list[0] - 1, list[1] - 1, list[2], 0, 0, 0, 0};
    const double dx = m.nodes[e.b].x - m.nodes[e.a].x, dy = m.nodes[e.b].y - m.nodes[e.a].y;
    e.length = std::sqrt(dx * dx + dy * dy);
    e.c = dx / e.length;
    e.s = dy / e.length;
    e.ea = Modulus * m.areas[list[2]];
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

void Step(int number, const std::string& title) { std::printf("\n%d. %s\n", number, title.c_str()); }

void Analyse(Model& model, const std::string& path) {
  const unsigned nodes = model.nodes.GetSize();
  std::printf("%s\n", T("ZelTools demo: a plane truss from model to report",
                        "Пример ZelTools: плоская ферма от модели до отчёта"));

  Step(1, T("Model", "Модель"));
  unsigned loaded = 0, constraints = 0;
  for (unsigned i = 0; i < nodes; ++i) {
    loaded += model.loads[2 * i] != 0 || model.loads[2 * i + 1] != 0;
    constraints += ((model.supports[i] & FixX) != 0) + ((model.supports[i] & FixY) != 0);
  }
  std::printf(ZELTOOL_FORMAT("   %u nodes (VPoint2D), %u bars (VectorArray of node lists), %u sections,\n"
                "   %u loaded nodes, %u support constraints\n",
                "   %u узлов (VPoint2D), %u стержней (VectorArray списков узлов), %u сечения,\n"
                "   %u загруженных узлов, %u опорных связи\n"),
              nodes, model.bars.GetSize(), model.areas.GetSize(), loaded, constraints);
  for (unsigned i = 0; i < model.areas.GetSize(); ++i)
    std::printf("   %s A = %.4g %s\n", Pad(T(Sections[i].en, Sections[i].ru), 9).c_str(), model.areas[i],
                T("m2", "м2"));

  Step(2, T("Document of blocks", "Документ из блоков"));
  const zel::Vector<zel::DOCUMENT> contents = WriteDocument(path, model);
  const char* names[] = {"nodes", "bars", "sections", "loads", "supports", "contents"};
  const char* namesRu[] = {"узлы", "стержни", "сечения", "нагрузки", "опоры", "оглавление"};
  std::printf("   %s %s %s\n", Pad(T("block", "блок"), 10).c_str(), Right(T("position", "позиция"), 10).c_str(),
              Right(T("length", "длина"), 8).c_str());
  for (unsigned i = 0; i < contents.GetSize(); ++i)
    std::printf("   %s %10lld %8lld\n", Pad(T(names[i], namesRu[i]), 10).c_str(), contents[i].position,
                contents[i].length);
  const Model back = ReadDocument(path);
  Check(SameModel(model, back), T("the document read back differs from the model written",
                                  "прочитанный документ отличается от записанного"));
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
      load[equation[d]] = model.loads[d];
      tape[renumber.position[equation[d]]] = model.loads[d];
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

  Step(5, T("Displacements, mm", "Перемещения, мм"));
  std::printf("   %s %7s %7s %10s %10s\n", Pad(T("node", "узел"), 5).c_str(), "x", "y", "u", "v");
  for (unsigned i = 0; i < nodes; ++i)
    std::printf("   %5u %7.2f %7.2f %10.4f %10.4f\n", i + 1, model.nodes[i].x, model.nodes[i].y, Shown(u[2 * i] * 1e3, 4),
                Shown(u[2 * i + 1] * 1e3, 4));

  Step(6, T("Bar forces, kN (tension +)", "Усилия в стержнях, кН (растяжение +)"));
  std::printf("   %s %5s %5s %s %s %10s\n", Pad(T("bar", "стер."), 5).c_str(), "i", "j",
              Pad(T("section", "сечение"), 9).c_str(), Right(T("L, m", "L, м"), 8).c_str(), "N");
  std::vector<double> force(bars.size()), inner(2 * nodes, 0.0);
  for (std::size_t b = 0; b < bars.size(); ++b) {
    const Bar& e = bars[b];
    force[b] = e.ea / e.length * (e.c * (u[2 * e.b] - u[2 * e.a]) + e.s * (u[2 * e.b + 1] - u[2 * e.a + 1]));
    inner[2 * e.a] -= force[b] * e.c;
    inner[2 * e.a + 1] -= force[b] * e.s;
    inner[2 * e.b] += force[b] * e.c;
    inner[2 * e.b + 1] += force[b] * e.s;
    const SectionRow& s = Sections[e.section];
    std::printf("   %5zu %5u %5u %s %8.3f %10.3f\n", b + 1, e.a + 1, e.b + 1, Pad(T(s.en, s.ru), 9).c_str(),
                e.length, Shown(force[b], 3));
  }

  Step(7, T("Reactions, kN", "Реакции, кН"));
  std::vector<double> reaction(2 * nodes, 0.0), unbalanced;
  for (unsigned d = 0; d < 2 * nodes; ++d)
    if (equation[d] == Fixed) {
      reaction[d] = inner[d] - model.loads[d];
      std::printf("   %s %u %s %12.4f\n", T("node", "узел"), d / 2 + 1, d % 2 == 0 ? "Rx" : "Ry",
                  Shown(reaction[d], 4));
    } else {
      unbalanced.push_back(inner[d] - model.loads[d]);
    }

  Step(8, T("Quadrature of bar results", "Интегрирование результатов по стержням"));
  // Strain energy U = Σ ∫ N²/(2EA) ds and steel volume Σ ∫ A ds by the
  // two-point Gauss rule mapped onto each bar; Clapeyron's theorem gives
  // U = ½ Σ F·u, the check of the whole solution by energy.
  double energy = 0, volume = 0, work = 0;
  for (std::size_t b = 0; b < bars.size(); ++b) {
    const Bar& e = bars[b];
    unsigned count = 0;
    double w[8], x[8], y[8];
    zel::NumericalIntegrationLine(2, model.nodes[e.a].x, model.nodes[e.a].y, model.nodes[e.b].x, model.nodes[e.b].y,
                                  count, w, x, y);
    for (unsigned k = 0; k < count; ++k) {
      energy += w[k] * force[b] * force[b] / (2 * e.ea);
      volume += w[k] * e.ea / Modulus;
    }
  }
  for (unsigned d = 0; d < 2 * nodes; ++d)
    work += 0.5 * model.loads[d] * u[d];
  const double energyGap = std::fabs(energy - work) / work;
  std::printf(ZELTOOL_FORMAT("   strain energy U = %.6g kN*m; work of the loads F*u/2 = %.6g kN*m; relative gap %s\n"
                "   steel: %.4g m3, %.5g kg\n",
                "   энергия деформации U = %.6g кН*м; работа нагрузок F*u/2 = %.6g кН*м; отн. разница %s\n"
                "   сталь: %.4g м3, %.5g кг\n"),
              energy, work, Below(energyGap).c_str(), volume, volume * Density);
  Check(energyGap < 1e-9, T("the strain energy differs from the work of the loads",
                            "энергия деформации отличается от работы нагрузок"));

  Step(9, T("Equilibrium", "Равновесие"));
  double sx = 0, sy = 0, moment = 0, scale = 0;
  for (unsigned i = 0; i < nodes; ++i) {
    const double fx = model.loads[2 * i] + reaction[2 * i], fy = model.loads[2 * i + 1] + reaction[2 * i + 1];
    sx += fx;
    sy += fy;
    moment += model.nodes[i].x * fy - model.nodes[i].y * fx;
    scale = std::max({scale, std::fabs(model.loads[2 * i]), std::fabs(model.loads[2 * i + 1])});
  }
  const double span = Panels * PanelWidth;
  const double globalGap = std::max({std::fabs(sx), std::fabs(sy), std::fabs(moment) / span}) / scale;
  const double nodeGap = MaxAbs(unbalanced) / scale;
  std::printf(ZELTOOL_FORMAT("   loads plus reactions: sum X %s, sum Y %s, sum M %s (relative to the largest load)\n"
                "   largest out-of-balance force at a free node: %s of the largest load\n",
                "   нагрузки и реакции: сумма X %s, сумма Y %s, сумма M %s (к наибольшей нагрузке)\n"
                "   наибольшая неуравновешенная сила в свободном узле: %s наибольшей нагрузки\n"),
              Below(std::fabs(sx) / scale).c_str(), Below(std::fabs(sy) / scale).c_str(),
              Below(std::fabs(moment) / span / scale).c_str(), Below(nodeGap).c_str());
  Check(globalGap < 1e-9 && nodeGap < 1e-9, T("the truss is not in equilibrium", "ферма не в равновесии"));
  // Warnings of the analysis go to a `CMessage` once it is part of the
  // library, and the report through a paginated `CFilePrint`; until then
  // the report is standard output and this model raises no warnings.
  std::printf("\n%s\n", T("All checks passed.", "Все проверки пройдены."));
}

} // namespace

int RunDemo(const Command& command) {
  russian = command.language == Language::Russian ||
            (command.language == Language::FromEnvironment && zel::GetThreadUILanguage() == zel::LanguageRussian);
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
    Analyse(model, path);
  } catch (const CheckFailed& failed) {
    std::fflush(stdout);
    std::fprintf(stderr, "zeltool demo: %s: %s\n", T("check failed", "проверка не пройдена"), failed.text.c_str());
    return 2;
  }
  return 0;
}

} // namespace zeltool
