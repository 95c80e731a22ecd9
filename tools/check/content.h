// What a record file or a leftover holds, as far as check wants to know.

#ifndef TOOLS_CHECK_CONTENT_H_
#define TOOLS_CHECK_CONTENT_H_

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "schema.h"

namespace tool {

struct CContent {
  int error = 0;           // why it cannot be read
  bool isRegular = false;  // a link is not
  timespec written{};
  bool isEmpty = true;      // the first line is
  std::size_t wanted = 0;   // of the values, by the schema
  std::size_t values = 0;   // on the first line
  bool isComplete = false;  // ends as a save does, and holds no byte 0
  std::string doubts;       // about what can be read

  // Readable, with a value for each column.
  bool IsWhole() const {
    return isRegular && error == 0 && !isEmpty && values >= wanted;
  }

  // Why it is not.
  std::string Fault() const;

  // "1 of 2 values"
  std::string Count() const;
};

// Reads files one after the other through one buffer.
class CContentReader {
 public:
  // Of a schema with an error only the number of columns counts, as the least.
  CContentReader(const CSchema& schema, bool hasError);

  // The content, until the next one is read.
  const CContent& Read(int directory, const std::string& name);

  // The same for what may be no regular file: that is not opened.
  const CContent& Look(int directory, const std::string& name);

 private:
  void ReadFile(int directory, const std::string& name);
  void Scan(std::string_view piece);
  void ScanLine(std::string_view text);
  void EndValue();
  void EndLine();
  void Doubt(const std::string& what);

  const std::vector<CField>& m_columns;
  bool m_hasError;
  std::vector<char> m_buffer;
  CContent m_content;
  std::string m_value;  // begun; not all of one that is too long
  char m_last = 0;      // byte of the file
  bool m_hasNul = false;
  bool m_isCut = false;     // the line, at a byte 0
  bool m_isBehind = false;  // the first line
  bool m_hasMore = false;   // lines
};

// Ends the command for errors that say nothing about what was to be read.
void RequireResources(const std::string& where, int error);

}  // namespace tool

#endif  // TOOLS_CHECK_CONTENT_H_
