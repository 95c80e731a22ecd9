// Migrations of one table, and finishing what was left of any.

#include <kivdb/migrate.h>
#include <kivdb/removed.h>
#include <kivdb/status.h>
#include <sys/stat.h>

#include <string>
#include <utility>

#include "core/locked.h"
#include "core/log.h"
#include "core/path.h"
#include "upgrade/columns.h"
#include "upgrade/migration.h"
#include "upgrade/with_schemas.h"

namespace KivDB {
namespace {

// One run of MigrateTable.
class CTableMigration {
 public:
  CTableMigration(const std::string& root, std::string table,
                  const CMigrateOptions& options, CRemoved& removed)
      : m_table(std::move(table)),
        m_data(root + "/" + kDataDirectory + "/" + m_table),
        m_schema(root + "/" + kSchemaDirectory + "/" + m_table),
        m_options(options),
        m_migration(root, removed) {}

  int Run(const std::string& description, std::string* schema) {
    CFileLock lock;
    if (!m_options.isDryRun) {
      const int finished = m_migration.FinishAll(nullptr);
      if (finished != kOk) return finished;
      if (TakeLock(lock, m_data.c_str()) == LockResult::kFailed) {
        return kInvalid;
      }
    } else {
      const int refused = m_migration.RefuseUnfinished();
      if (refused != kOk) return refused;
    }
    int status = ReadSpecs(m_schema, m_now);
    if (status == kOk) status = m_change.Parse(description, m_now);
    if (status == kOk) status = RequireDrops();
    if (status != kOk) return status;
    if (schema != nullptr) *schema = m_change.columns.Line();
    if (m_change.columns == m_now) return kOk;
    if (m_options.isDryRun) return CheckOnly();
    status = m_change.KeepsValues(m_now) ? Rename() : Rebuild();
    const int cleaned = m_migration.Clean();
    return status == kOk ? cleaned : status;
  }

 private:
  int RequireDrops() const {
    const std::string dropped = m_change.Dropped(m_now);
    if (dropped.empty() || m_options.drops) return kOk;
    return KIVDB_FAIL(kNotEmpty, "table [%s]: these columns would go: %s",
                      m_table.c_str(), dropped.c_str());
  }

  int CheckOnly() const {
    if (m_change.KeepsValues(m_now)) return kOk;
    return m_migration.Check(m_table, m_now.size() - 1);
  }

  int Rename() {
    struct stat like;
    if (stat(m_schema.c_str(), &like) != 0) {
      return KIVDB_FAIL(kNoSchema, "no such file [%s]", m_schema.c_str());
    }
    return m_migration.Replace(m_schema, SchemaContent(m_change.columns.Line()),
                               kSchemaMode, &like);
  }

  int Rebuild() {
    return m_migration.Run(
        m_table, m_now.size() - 1, m_change.columns,
        [this](const std::string& /*id*/, CStored& values) {
          CStored changed;
          for (std::size_t i = 1; i < m_change.sources.size(); ++i) {
            const auto source = m_change.sources[i];
            changed.push_back(source ? values[*source - 1] : std::string());
          }
          values.swap(changed);
          return kOk;
        });
  }

  const std::string m_table;
  const std::string m_data;
  const std::string m_schema;
  const CMigrateOptions& m_options;
  CMigration m_migration;
  CSpecs m_now;
  CColumnChange m_change;
};

}  // namespace

int MigrateTable(const char* root, const char* table, const char* columns,
                 const CMigrateOptions& options, std::string* schema,
                 CRemoved* removed) {
  if (root == nullptr || table == nullptr || columns == nullptr) {
    return KIVDB_FAIL(kInvalid, "invalid parameter");
  }
  if (!IsPathComponent(table)) {
    return KIVDB_FAIL(kNoSchema, "no such file [%s]",
                      CPath(root, kSchemaDirectory, table).text());
  }
  return WithSchemas(root, !options.isDryRun, removed, [&](CRemoved& folder) {
    return CTableMigration(root, table, options, folder).Run(columns, schema);
  });
}

int FinishMigrations(const char* root, std::vector<std::string>* tables,
                     CRemoved* removed) {
  if (root == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  return WithSchemas(root, true, removed, [&](CRemoved& folder) {
    return CMigration(root, folder).FinishAll(tables);
  });
}

}  // namespace KivDB
