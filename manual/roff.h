// Text of a manual page, in the macros of man(7).
#pragma once

#include <string>
#include <string_view>

namespace vnt::manual {

class Page {
 public:
  // `date` as 2026-11-22; `source` and `volume` stand in the page's foot and head.
  Page(std::string_view title, std::string_view date, std::string_view source, std::string_view volume);

  void Section(std::string_view title);
  // The line of the section NAME that whatis(1) goes by.
  void Name(std::string_view name, std::string_view purpose);
  // Text is set anew: blanks and ends of lines only part its words.
  void Paragraph(std::string_view text);
  // A term and what it means; `term` as Bold() and the like give it.
  void Entry(std::string_view term, std::string_view text);
  // Lines that are kept as they are.
  void Example(std::string_view lines);
  // A line of words that are marked up already.
  void Line(std::string_view marked);

  const std::string& text() const { return text_; }

 private:
  void Fill(std::string_view text);

  bool begun_ = false;  // something stands in the section
  std::string text_;
};

// Words for a term or a line.
std::string Plain(std::string_view text);
std::string Bold(std::string_view text);
std::string Italic(std::string_view text);

}  // namespace vnt::manual
