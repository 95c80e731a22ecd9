// The upgrade of a database.

#include <fcntl.h>
#include <kivdb/status.h>
#include <kivdb/upgrade.h>
#include <sys/stat.h>

#include <algorithm>
#include <deque>
#include <iterator>

#include "core/format.h"
#include "core/log.h"
#include "core/null_text.h"
#include "upgrade/disk.h"
#include "upgrade/migration.h"
#include "upgrade/shipped.h"
#include "upgrade/table_upgrade.h"
#include "upgrade/with_schemas.h"
#include "zel.h"

namespace KivDB {
namespace {

constexpr mode_t kBaseMode = 0640;

class CDatabaseUpgrade {
 public:
  CDatabaseUpgrade(const std::string& root, const CUpgradeOptions& options,
                   CRemoved& removed)
      : m_root(root),
        m_basePath(root + "/" + kTopDirectory + "/base.ini"),
        m_options(options),
        m_migration(root, removed) {}

  int Run(const char* shipped, std::vector<CUpgradeStep>& steps) {
    const int status = RunSteps(shipped, steps);
    const int cleaned = m_options.isDryRun ? kOk : m_migration.Clean();
    return status == kOk ? cleaned : status;
  }

 private:
  int RunSteps(const char* shipped, std::vector<CUpgradeStep>& steps) {
    int status = Load(shipped);
    if (status == kOk) status = FinishMigrations();
    if (status != kOk || IsUpToDate()) return status;
    AddTables();
    status = ForEachTable(&CTableUpgrade::Plan);
    if (status == kOk) status = ForEachTable(&CTableUpgrade::Append);
    if (status == kOk) status = ForEachTable(&CTableUpgrade::Merge);
    if (status == kOk) status = ForEachTable(&CTableUpgrade::Make);
    TakeSteps(steps);
    if (status == kOk && !m_options.isDryRun) status = KeepBase();
    return status;
  }

  int Load(const char* shipped) {
    m_hasBase = zel_access(m_basePath.c_str(), F_OK) == 0;
    if (m_hasBase && m_options.base != nullptr) {
      return KIVDB_FAIL(kInvalid, "there is a base already [%s]",
                        m_basePath.c_str());
    }
    const CPlace given{m_options.id, TextOrEmpty(m_options.host)};
    m_base.place = given;
    int status = kOk;
    if (m_hasBase || m_options.base != nullptr) {
      status =
          m_base.Load(m_hasBase ? m_basePath : m_options.base, given, true);
    }
    if (status == kOk) status = RefusePlace(given);
    if (status == kOk) status = RefuseForeign();
    return status == kOk ? m_shipped.Load(shipped, m_base.place, false)
                         : status;
  }

  // What was put in once cannot become another.
  int RefusePlace(const CPlace& given) const {
    const CPlace& place = m_base.place;
    const bool fits = (given.id == 0 || given.id == place.id) &&
                      (given.host.empty() || given.host == place.host);
    if (fits) return kOk;
    return KIVDB_FAIL(kInvalid, "the base has the id %i and the host [%s]",
                      place.id, place.host.c_str());
  }

  // The base of something else would tell that its owner dropped all tables.
  int RefuseForeign() const {
    const bool fits =
        m_hasBase || m_base.tables.empty() ||
        std::any_of(m_base.tables.begin(), m_base.tables.end(),
                    [this](const CShippedTable& table) {
                      return IsThere(m_root + "/" + kSchemaDirectory + "/" +
                                     table.name);
                    });
    if (fits) return kOk;
    return KIVDB_FAIL(kInvalid, "no table of the base [%s] is here",
                      m_options.base);
  }

  int FinishMigrations() {
    return m_options.isDryRun ? m_migration.RefuseUnfinished()
                              : m_migration.FinishAll(nullptr);
  }

  // Whether the base was made from the same file, which is not tried again: an
  // id that is free by now stays so.
  bool IsUpToDate() const {
    return !m_options.prunes && !m_base.origin.empty() &&
           m_base.origin == m_shipped.Fingerprint();
  }

  // Those that are shipped, in their order, then those that were.
  void AddTables() {
    for (const CShippedTable& table : m_shipped.tables) {
      m_tables.emplace_back(m_root, m_options, m_base.Find(table.name), &table,
                            m_migration);
    }
    for (const CShippedTable& table : m_base.tables) {
      if (m_shipped.Find(table.name) != nullptr) continue;
      m_tables.emplace_back(m_root, m_options, &table, nullptr, m_migration);
    }
  }

  int ForEachTable(int (CTableUpgrade::*step)()) {
    for (CTableUpgrade& table : m_tables) {
      const int status = (table.*step)();
      if (status != kOk) return status;
    }
    return kOk;
  }

  void TakeSteps(std::vector<CUpgradeStep>& steps) {
    for (CTableUpgrade& table : m_tables) {
      std::vector<CUpgradeStep> own = table.TakeSteps();
      steps.insert(steps.end(), std::make_move_iterator(own.begin()),
                   std::make_move_iterator(own.end()));
    }
  }

  bool HasLeft(CUpgradeStep::Kind reason) const {
    return std::any_of(
        m_tables.begin(), m_tables.end(),
        [&](const CTableUpgrade& table) { return table.HasLeft(reason); });
  }

  // Last of all, and only where it says something else than before.
  int KeepBase() {
    CShippedFile kept;
    kept.section = m_shipped.section;
    kept.place = m_base.place;
    for (CTableUpgrade& table : m_tables) {
      kept.tables.push_back(table.TakeKept());
    }
    if (HasLeft(CUpgradeStep::kIdTaken) &&
        !HasLeft(CUpgradeStep::kUnreadable)) {
      kept.origin = m_shipped.Fingerprint();
    }
    const std::string text = kept.Text();
    const bool isSame = m_hasBase && text == m_base.Text();
    if (isSame || HasLeft(CUpgradeStep::kInterrupted)) return kOk;
    struct stat like;
    const bool hasLike = m_hasBase && stat(m_basePath.c_str(), &like) == 0;
    return m_migration.Replace(m_basePath, text, kBaseMode,
                               hasLike ? &like : nullptr);
  }

  const std::string m_root;
  const std::string m_basePath;
  const CUpgradeOptions& m_options;
  CMigration m_migration;
  bool m_hasBase = false;
  CShippedFile m_base;
  CShippedFile m_shipped;
  std::deque<CTableUpgrade> m_tables;
};

}  // namespace

int Upgrade(const char* root, const char* shipped,
            const CUpgradeOptions& options, std::vector<CUpgradeStep>& steps) {
  steps.clear();
  if (root == nullptr || shipped == nullptr) {
    return KIVDB_FAIL(kInvalid, "invalid parameter");
  }
  if (zel_access(CPath(root, kSchemaDirectory).text(), F_OK) != 0) {
    return KIVDB_FAIL(kNoSchemaDirectory, "no database below [%s]", root);
  }
  return WithSchemas(root, !options.isDryRun, nullptr, [&](CRemoved& removed) {
    return CDatabaseUpgrade(root, options, removed).Run(shipped, steps);
  });
}

}  // namespace KivDB
