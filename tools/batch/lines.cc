// Quotes and backslashes.

#include "batch/lines.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "ini.h"
#include "report.h"

namespace tool {
namespace {

// What a backslash can stand before between double quotes.
constexpr std::string_view kEscaped = "\"\\$`\n";

class CSplitter {
 public:
  CSplitter(const std::string& file, std::string_view text)
      : m_file(file), m_text(text) {}

  std::vector<CBatchLine> Split() {
    while (!IsEnd()) TakePiece();
    EndLine();
    return std::move(m_lines);
  }

 private:
  bool IsEnd() const { return m_at == m_text.size(); }
  std::string_view Rest() const { return m_text.substr(m_at); }

  // Line feeds are counted as they are taken.
  char Take() {
    const char c = m_text[m_at++];
    if (c == '\n') ++m_line;
    return c;
  }

  // Goes past what ends a line, if it stands here; the text's own end may have
  // the carriage return alone.
  bool TakeLineEnd() {
    const std::string_view rest = Rest();
    if (rest == "\r") {
      Take();
      return true;
    }
    const std::size_t length = rest.substr(0, 2) == "\r\n" ? 2 : 1;
    if (rest[length - 1] != '\n') return false;
    m_at += length;
    ++m_line;
    return true;
  }

  void TakePiece();
  void TakeEscaped();
  void TakeSingleQuoted();
  void TakeDoubleQuoted();
  void Begin();
  void EndWord();
  void EndLine();
  [[noreturn]] void RefuseOpen(std::size_t line) const {
    EndNo(AtLine(m_file, line), "a quote is not closed");
  }

  const std::string& m_file;
  std::string_view m_text;
  std::size_t m_at = 0;
  std::size_t m_line = 1;
  std::optional<std::string> m_word;  // that has begun
  CBatchLine m_words{};               // of the line that has begun
  std::vector<CBatchLine> m_lines;
};

void CSplitter::TakePiece() {
  const bool isFirst = m_words.words.empty() && !m_word;
  const char c = Rest().front();
  if (TakeLineEnd()) {
    EndLine();
  } else if (c == ' ' || c == '\t') {
    Take();
    EndWord();
  } else if (c == '#' && isFirst) {
    m_at = std::min(m_text.find('\n', m_at), m_text.size());
  } else if (c == '\\') {
    TakeEscaped();
  } else {
    Begin();
    if (c == '\'') {
      TakeSingleQuoted();
    } else if (c == '"') {
      TakeDoubleQuoted();
    } else {
      *m_word += Take();
    }
  }
}

// A line that goes on begins no word.
void CSplitter::TakeEscaped() {
  const std::size_t line = m_line;
  Take();
  if (IsEnd()) {
    EndNo(AtLine(m_file, line), "nothing behind a backslash");
  }
  if (TakeLineEnd()) return;
  Begin();
  *m_word += Take();
}

void CSplitter::TakeSingleQuoted() {
  const std::size_t line = m_line;
  Take();
  while (!IsEnd()) {
    const char c = Take();
    if (c == '\'') return;
    *m_word += c;
  }
  RefuseOpen(line);
}

void CSplitter::TakeDoubleQuoted() {
  const std::size_t line = m_line;
  Take();
  while (!IsEnd()) {
    char c = Take();
    if (c == '"') return;
    const bool isEscape =
        c == '\\' && !IsEnd() && kEscaped.find(Rest().front()) != m_text.npos;
    if (isEscape) c = Take();
    const bool isJoined = isEscape && c == '\n';
    if (!isJoined) *m_word += c;
  }
  RefuseOpen(line);
}

void CSplitter::Begin() {
  if (m_word) return;
  m_word.emplace();
  if (m_words.words.empty()) m_words.line = m_line;
}

void CSplitter::EndWord() {
  if (m_word) m_words.words.push_back(std::move(*m_word));
  m_word.reset();
}

void CSplitter::EndLine() {
  EndWord();
  if (!m_words.words.empty()) m_lines.push_back(std::move(m_words));
  m_words = {};
}

}  // namespace

std::vector<CBatchLine> SplitBatch(const std::string& file,
                                   std::string_view text) {
  const std::size_t nul = text.find('\0');
  if (nul != text.npos) {
    const auto feeds = std::count(text.begin(), text.begin() + nul, '\n');
    EndNo(AtLine(file, static_cast<std::size_t>(feeds) + 1), "a byte 0");
  }
  return CSplitter(file, text).Split();
}

}  // namespace tool
