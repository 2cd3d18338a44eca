// Puts pages together from HTML fragments, and holds their style sheet.

#include "apps/report/page.h"

#include <fmt/format.h>

#include <utility>

namespace report {
namespace {

// Colours have a contrast of at least 3:1 (lines) or 4.5:1 (text) to the page. The dark ones are for screens
// only, so that a page prints on white whatever the screen shows. Captions, legends, pictures and notes of
// figures side by side stand in rows of a common grid, so that the pictures are level. A table that is wider
// than the page scrolls in its box, whose background shows a shadow at an edge that has more behind it.
constexpr std::string_view kStyle = R"css(
:root{color-scheme:light dark;--page:#fff;--panel:#f5f7fa;--ink:#1c2128;--soft:#57606a;--grid:#e3e7ec;
--axis:#8b949e;--link:#0b5cad;--good:#1a7f37;--bad:#b42318;--band:#0b62c414;
--s0:#1f6fc4;--s1:#c75b00;--s2:#178052;--s3:#b5338a;--s4:#6b4fc8;--s5:#8a6d00;--s6:#0a8193;--s7:#cc3340}
@media screen and (prefers-color-scheme:dark){:root{--page:#14181d;--panel:#1d232a;--ink:#e6eaee;--soft:#a3adb8;
--grid:#2b333c;--axis:#6c7783;--link:#79b8ff;--good:#57c977;--bad:#ff8a80;--band:#6ab0ff1f;
--s0:#6ab0ff;--s1:#ff9d4d;--s2:#4fd08f;--s3:#f07cc6;--s4:#ac97ff;--s5:#dcbf4e;--s6:#4fd0e0;--s7:#ff7d85}}
*{box-sizing:border-box}
body{margin:0 auto;max-width:1120px;padding:20px 16px 48px;background:var(--page);color:var(--ink);
font:1rem/1.5 system-ui,-apple-system,"Segoe UI",Roboto,"DejaVu Sans",sans-serif;overflow-wrap:break-word}
a{color:var(--link)}
nav,.note,caption{color:var(--soft);font-size:.875rem}
nav{display:flex;flex-wrap:wrap;gap:4px 16px;justify-content:space-between}
h1{font-size:1.6rem;line-height:1.25;margin:.5em 0 .4em}
h2{font-size:1.2rem;margin:2em 0 .6em;padding-top:.6em;border-top:1px solid var(--grid)}
p{margin:.5em 0;max-width:70ch;text-wrap:pretty}
.facts{display:grid;grid-template-columns:repeat(auto-fit,minmax(150px,1fr));gap:8px;margin:16px 0}
.facts div{background:var(--panel);border-radius:8px;padding:10px 14px;min-width:0;
display:flex;flex-direction:column;justify-content:space-between}
.facts dt{color:var(--soft);font-size:.875rem}
.facts dd{margin:0;font-size:1.2rem;font-weight:600;font-variant-numeric:tabular-nums}
.good{color:var(--good)}
.bad{color:var(--bad);font-weight:600}
.bad::before{content:"\2717\a0"}
.good::before{content:"\2713\a0"}
.figures{display:grid;grid-template-columns:repeat(auto-fit,minmax(min(100%,300px),1fr));gap:0 24px;margin:16px 0 -12px}
figure{margin:0 0 28px;min-width:0;max-width:480px;display:flex;flex-direction:column}
figure>svg{margin-top:auto}
@supports(grid-template-rows:subgrid){
figure{display:grid;grid-row:span 4;grid-template-rows:subgrid;grid-template-columns:minmax(0,1fr)}
figure>figcaption{grid-row:1}
figure>.legend{grid-row:2;align-content:start}
figure>svg,figure>.scroll{grid-row:3;margin-top:0;align-self:end}
figure>.note{grid-row:4}
figure:has(>.chart){display:flex;grid-row:auto}}
figcaption{font-weight:600;margin-bottom:2px}
.note{margin:2px 0 0}
.legend{list-style:none;display:flex;flex-wrap:wrap;gap:0 16px;margin:2px 0 6px;padding:0;font-size:.875rem}
.legend li{min-width:0}
.sample{width:28px;height:14px;vertical-align:-2px;margin-right:6px}
.plot{display:block;width:100%;height:auto}
figure>.on-wide{display:none}
svg text{font-size:13px;fill:var(--ink)}
svg .tick{fill:var(--soft);font-variant-numeric:tabular-nums}
svg .middle{text-anchor:middle}
svg .end{text-anchor:end}
svg .name{fill:var(--soft);paint-order:stroke;stroke:var(--page);stroke-width:3px;stroke-linejoin:round}
.axis,.grid,.limit{fill:none;stroke:var(--axis);stroke-width:1}
.grid{stroke:var(--grid)}
.limit{stroke:var(--soft);stroke-dasharray:5 4}
.band{fill:var(--band)}
.box{fill:var(--panel);stroke:var(--axis)}
.ink{fill:var(--ink)}
.plain{--c:var(--soft)}
.s0{--c:var(--s0)}.s1{--c:var(--s1)}.s2{--c:var(--s2)}.s3{--c:var(--s3)}
.s4{--c:var(--s4)}.s5{--c:var(--s5)}.s6{--c:var(--s6)}.s7{--c:var(--s7)}
.line{fill:none;stroke:var(--c);stroke-width:2;stroke-linejoin:round}
.dashed .line{stroke-dasharray:6 4}
.dot{fill:var(--c)}
.ring{fill:none;stroke:var(--c);stroke-width:1.8}
.scroll{overflow-x:auto;margin:12px 0;max-width:100%;
background:linear-gradient(90deg,var(--page) 30%,transparent) 0 0/40px 100% no-repeat local,
linear-gradient(270deg,var(--page) 30%,transparent) 100% 0/40px 100% no-repeat local,
linear-gradient(90deg,var(--grid),transparent) 0 0/12px 100% no-repeat scroll,
linear-gradient(270deg,var(--grid),transparent) 100% 0/12px 100% no-repeat scroll}
.tables{display:flex;flex-wrap:wrap;gap:0 48px;align-items:flex-start}
table{border-collapse:collapse;font-size:.9rem;font-variant-numeric:tabular-nums}
caption{text-align:left;padding-bottom:4px}
th,td{padding:5px 12px;text-align:right;border-bottom:1px solid var(--grid);white-space:nowrap}
th:first-child,td:first-child{padding-left:0}
thead th{color:var(--soft);font-weight:600;border-bottom-color:var(--axis);vertical-align:bottom}
tbody th{font-weight:500}
th.words,td.words{text-align:left}
tbody th.words{white-space:normal;min-width:6em}
.cards table{width:100%}
@media(max-width:700px){
th,td{padding:5px 8px}
.cards thead{display:none}
.cards tr{display:flex;flex-wrap:wrap;gap:0 16px;padding:10px 0;border-bottom:1px solid var(--grid)}
.cards th,.cards td{border:0;padding:0;white-space:normal}
.cards th{flex:0 0 100%}
.cards td:empty{display:none}}
@media(min-width:1000px){
.figures{grid-template-columns:repeat(6,1fr)}
figure{max-width:none;grid-column:span 3}
.third{grid-column:span 2}
.full{grid-column:span 6}
figure>.on-wide{display:block}
figure>.on-narrow{display:none}}
@page{margin:12mm}
@media print{
html{font-size:9pt}
body{max-width:none;padding:0 1px}
.facts{grid-template-columns:repeat(auto-fit,minmax(120px,1fr))}
nav a{display:none}
.figures{grid-template-columns:repeat(6,1fr);gap:0 16px}
figure{max-width:none;grid-column:span 3;break-inside:avoid}
.third{grid-column:span 2}
.full{grid-column:span 6}
figure.full>.on-wide{display:block}
figure.full>.on-narrow{display:none}
figure.half>.on-wide{display:none}
figure.half>.on-narrow{display:block}
.scroll{overflow:visible;background:none}
.tables .scroll{break-inside:avoid}
h2{break-after:avoid}
tr{break-inside:avoid}
.wide{font-size:6.8pt}
.wide th,.wide td{padding:2px 3px}
.facts div{border:1px solid var(--grid)}}
)css";

std::string classes_of(Tone tone, bool words) {
  std::string classes = words ? "words" : "";
  if (tone == Tone::kPlain) return classes;
  if (words) classes += ' ';
  return classes + (tone == Tone::kGood ? "good" : "bad");
}

std::string attribute(const char* name, const std::string& value) {
  return value.empty() ? "" : fmt::format(" {}=\"{}\"", name, escaped(value));
}

const char* class_of(Width width) {
  if (width == Width::kThird) return "third";
  return width == Width::kHalf ? "half" : "full";
}

std::string head_html(const Table& table) {
  std::string row;
  for (const Column& column : table.columns)
    row += fmt::format("<th scope=\"col\"{}>{}</th>", attribute("class", column.words ? "words" : ""),
                       escaped(column.heading));
  return "<thead><tr>" + row + "</tr></thead>\n";
}

std::string cell_html(const Table& table, const Cell& cell, std::size_t column, const std::string& link) {
  const bool words = column < table.columns.size() && table.columns[column].words;
  std::string inside = escaped(cell.text);
  if (!link.empty()) inside = fmt::format("<a href=\"{}\">{}</a>", escaped(link), inside);
  return fmt::format("<{0}{1}{2}>{3}</{0}>", column == 0 ? "th" : "td", column == 0 ? " scope=\"row\"" : "",
                     attribute("class", classes_of(cell.tone, words)), inside);
}

}  // namespace

std::string escaped(std::string_view text) {
  constexpr char kFirstPrintable = ' ', kDelete = 0x7F;
  std::string out;
  for (const char ch : text) {
    if (ch == '&')
      out += "&amp;";
    else if (ch == '<')
      out += "&lt;";
    else if (ch == '>')
      out += "&gt;";
    else if (ch == '"')
      out += "&quot;";
    else
      out += (ch >= 0 && ch < kFirstPrintable) || ch == kDelete ? ' ' : ch;
  }
  return out;
}

Page::Page(std::string title, std::string program) : title_(std::move(title)), program_(std::move(program)) {}

void Page::heading(std::string_view text) { body_ += "<h2>" + escaped(text) + "</h2>\n"; }

void Page::paragraph(std::string_view text) { body_ += "<p>" + escaped(text) + "</p>\n"; }

void Page::facts(const std::vector<Fact>& facts) {
  body_ += "<dl class=\"facts\">\n";
  for (const Fact& fact : facts)
    body_ += fmt::format("<div><dt>{}</dt><dd{}>{}</dd></div>\n", escaped(fact.name),
                         attribute("class", classes_of(fact.tone, false)), escaped(fact.value));
  body_ += "</dl>\n";
}

void Page::table(const Table& table) { body_ += table_html(table); }

void Page::tables(const std::vector<Table>& tables) {
  body_ += "<div class=\"tables\">\n";
  for (const Table& each : tables) table(each);
  body_ += "</div>\n";
}

void Page::figures(const std::vector<Figure>& figures) {
  body_ += "<div class=\"figures\">\n";
  for (const Figure& figure : figures) {
    body_ += fmt::format("<figure class=\"{}\"><figcaption>{}</figcaption>\n{}", class_of(figure.width),
                         escaped(figure.title), figure.html);
    if (!figure.note.empty()) body_ += fmt::format("<p class=\"note\">{}</p>\n", escaped(figure.note));
    body_ += "</figure>\n";
  }
  body_ += "</div>\n";
}

void Page::plots(const std::vector<Plot>& plots) {
  std::vector<Figure> drawn;
  for (const Plot& plot : plots) drawn.push_back(draw(plot, fmt::format("p{}", ++plots_)));
  figures(drawn);
}

std::string Page::html() const {
  return document(title_, fmt::format("<nav><span>{}</span><a href=\"index.html\">All reports</a></nav>\n"
                                      "<h1>{}</h1>\n{}",
                                      escaped(program_), escaped(title_), body_));
}

std::string document(const std::string& title, const std::string& body) {
  return fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\">\n"
      "<title>{}</title>\n<style>{}</style>\n</head>\n<body>\n<main>\n{}</main>\n</body>\n</html>\n",
      escaped(title), kStyle, body);
}

std::string table_html(const Table& table, const std::vector<std::string>& links) {
  constexpr std::size_t kWide = 9;  // columns that paper has room for in the size of the text
  // A box that scrolls must be reachable by the keyboard, and then has a name for who hears the page.
  std::string html =
      fmt::format("<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"{}\"><table{}>\n",
                  table.caption.empty() ? "Table" : escaped(table.caption),
                  attribute("class", table.columns.size() > kWide ? "wide" : ""));
  if (!table.caption.empty()) html += "<caption>" + escaped(table.caption) + "</caption>\n";
  html += head_html(table) + "<tbody>\n";
  for (std::size_t r = 0; r < table.rows.size(); ++r) {
    html += "<tr>";
    for (std::size_t k = 0; k < table.rows[r].size(); ++k)
      html += cell_html(table, table.rows[r][k], k, k == 0 && r < links.size() ? links[r] : "");
    html += "</tr>\n";
  }
  return html + "</tbody></table></div>\n";
}

}  // namespace report
