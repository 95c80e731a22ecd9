// A new database, made beside its place: it is there as a whole or not at all.

#ifndef TOOLS_STAGING_H_
#define TOOLS_STAGING_H_

#include <string>
#include <vector>

namespace tool {

// Ends the command where the root has a database, or tables without one.
void RefuseDatabase(const std::string& root);

// A directory of its own, in which a database can be made and from which it is
// taken.  Whatever is not taken goes with the object.
class CStaging {
 public:
  explicit CStaging(std::string root);
  ~CStaging();
  CStaging(const CStaging&) = delete;
  CStaging& operator=(const CStaging&) = delete;

  // Makes it, and the directories down to the root that are missing.
  void Make();

  const std::string& path() const { return m_path; }

  // Whether ROOT/kiv is there, and stays: only what is below it is taken.
  bool KeepsKiv() const { return m_hasKiv; }

  // Renames PATH/kiv to ROOT/kiv, which may be there and empty.  Where it is
  // something else, such as a mount, or holds what is no part of a database,
  // the entries are renamed, the schemas last.
  void Take();

 private:
  void MakeRoot();
  bool IsReplaceable() const;
  std::vector<std::string> EntriesInOrder() const;
  void MoveEntries() const;
  void Move(const std::string& entry) const;

  std::string m_root;
  std::string m_path;               // empty until it is made
  std::vector<std::string> m_made;  // down to the root
  bool m_hasKiv = false;
  bool m_isTaken = false;
};

}  // namespace tool

#endif  // TOOLS_STAGING_H_
