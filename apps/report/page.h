#pragma once

// A report as one HTML file that stands alone: its style sheet is inside, there is no script, and nothing is
// fetched. It follows the reader's choice of light or dark, fits a phone, and prints.

#include <string>
#include <string_view>
#include <vector>

#include "apps/report/plot.h"

namespace report {

/// Returns a text with the characters that mean something in HTML replaced, fit for attributes too. Control
/// characters come out as blanks.
std::string escaped(std::string_view text);

/// Says whether a figure is as it should be. What is bad is marked by a sign too, not by colour alone.
enum class Tone { kPlain, kGood, kBad };

struct Cell {
  Cell(std::string words, Tone its_tone = Tone::kPlain) : text(std::move(words)), tone(its_tone) {}
  Cell(const char* words) : text(words) {}
  std::string text;
  Tone tone = Tone::kPlain;
};

struct Column {
  Column(std::string its_heading, bool has_words = false)
      : heading(std::move(its_heading)), words(has_words) {}
  Column(const char* its_heading) : heading(its_heading) {}
  std::string heading;
  bool words = false;  // aligned left; numbers are aligned right
};

/// The first cell of a row is its heading. Rows may be shorter than the list of columns.
struct Table {
  std::string caption;  // may be empty
  std::vector<Column> columns;
  std::vector<std::vector<Cell>> rows;
};

/// Holds a figure that is to be seen at once, such as passes: 89.
struct Fact {
  std::string name, value;
  Tone tone = Tone::kPlain;
};

/// Collects a page from top to bottom. All texts are plain: they are escaped here.
///
/// SVG of a figure that is drawn by hand gets its colours by classes: `line`, `dot` and `ring` within <g
/// class="s0"> ... "s7" (the colours of series), `axis`, `grid`, `limit`, `band`, `box` (filled, outlined),
/// `ink` (filled in the colour of text); <text> with `middle`, `end`, `tick`, `name`. Text has 13 units, so
/// that a viewBox 360 wide suits a phone; two drawings with the classes `plot on-wide` and `plot on-narrow`
/// (class `plot` alone if there is one) are shown on wide pages and on phones.
class Page {
 public:
  /// @param program  that wrote the page
  Page(std::string title, std::string program);

  void heading(std::string_view text);
  void paragraph(std::string_view text);
  void facts(const std::vector<Fact>& facts);
  void table(const Table& table);
  /// Adds tables side by side, as many as have room.
  void tables(const std::vector<Table>& tables);
  /// Adds figures side by side, as many as have room.
  void figures(const std::vector<Figure>& figures);
  /// Draws plots and adds them side by side.
  void plots(const std::vector<Plot>& plots);

  const std::string& title() const { return title_; }
  const std::string& program() const { return program_; }
  /// Returns the page. The same calls give the same bytes.
  std::string html() const;

 private:
  std::string title_, program_, body_;
  int plots_ = 0;  // drawn so far, for their ids
};

/// Returns a document in the style of the pages. Used by Page and by the index.
/// @param body  HTML
std::string document(const std::string& title, const std::string& body);
/// Returns a table as HTML.
/// @param links  [row] what the first cells link to; empty: nothing
std::string table_html(const Table& table, const std::vector<std::string>& links = {});

}  // namespace report
