#include "manual/roff.h"

#include <algorithm>

namespace vnt::manual {

std::string Plain(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";  // what is copied from the page must be a hyphen of the keyboard
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string Bold(std::string_view text) { return "\\fB" + Plain(text) + "\\fR"; }

std::string Italic(std::string_view text) { return "\\fI" + Plain(text) + "\\fR"; }

namespace {

// Lines of a page are kept short for those who read it as it is.
constexpr std::size_t kLineLength = 80;

}  // namespace

Page::Page(std::string_view title, std::string_view date, std::string_view source, std::string_view volume) {
  text_.append(".TH ").append(title).append(" 1 ").append(date);
  text_.append(" \"").append(source).append("\" \"").append(volume).append("\"\n");
  // Names of options and files are not to be broken, nor lines to be stretched.
  text_ += ".nh\n.ad l\n";
}

void Page::Section(std::string_view title) {
  text_.append(".SH ").append(title).append("\n");
  begun_ = false;
}

void Page::Name(std::string_view name, std::string_view purpose) {
  Line(Plain(name) + " \\- " + Plain(purpose));
}

void Page::Paragraph(std::string_view text) {
  if (begun_) text_ += ".PP\n";
  Fill(text);
  begun_ = true;
}

void Page::Entry(std::string_view term, std::string_view text) {
  text_.append(".TP\n").append(term).append("\n");
  Fill(text);
  begun_ = true;
}

void Page::Example(std::string_view lines) {
  if (begun_) text_ += ".PP\n";
  text_ += ".nf\n";
  while (!lines.empty()) {
    const std::size_t end = lines.find('\n');
    Line(Plain(lines.substr(0, end)));
    lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
  }
  text_ += ".fi\n";
  begun_ = true;
}

void Page::Fill(std::string_view text) {
  std::string line;
  const auto end_line = [&] {
    if (!line.empty()) Line(line);
    line.clear();
  };
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(" \n"), text.size());
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (word.empty()) continue;
    if (line.size() + 1 + Plain(word).size() > kLineLength) end_line();
    line += line.empty() ? Plain(word) : " " + Plain(word);
  }
  end_line();
}

// A point or an apostrophe begins a request where it begins a line.
void Page::Line(std::string_view marked) {
  if (marked.starts_with('.') || marked.starts_with('\'')) text_ += "\\&";
  text_.append(marked).append("\n");
  begun_ = true;
}

}  // namespace vnt::manual
