// The formats raw and ids.

#include <utility>

#include "formats/format.h"

namespace tool {
namespace {

class CRaw : public CFormat {
 public:
  using CFormat::CFormat;
  void Add(const CRow& row) override {
    Write(row.id.empty() ? row.raw + "\n" : row.id + "\t" + row.raw + "\n");
  }
  void Only(const CRow& row) override { Write(row.raw + "\n"); }
};

class CIds : public CFormat {
 public:
  CIds(COutput& out, bool endsWithNul)
      : CFormat(out, {}), m_end(endsWithNul ? '\0' : '\n') {}
  void Add(const CRow& row) override { Write(row.id + m_end); }

 private:
  char m_end;
};

}  // namespace

std::unique_ptr<CFormat> MakeRaw(COutput& out, std::vector<CField> fields) {
  return std::make_unique<CRaw>(out, std::move(fields));
}

std::unique_ptr<CFormat> MakeIds(COutput& out, bool endsWithNul) {
  return std::make_unique<CIds>(out, endsWithNul);
}

}  // namespace tool
