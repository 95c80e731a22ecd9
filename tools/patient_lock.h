// A lock for looking at a table that others change.

#ifndef TOOLS_PATIENT_LOCK_H_
#define TOOLS_PATIENT_LOCK_H_

namespace tool {

// A shared lock on an open directory that is tried for a tenth of a second and
// then done without.  The descriptor stays the caller's.
class CPatientLock {
 public:
  // Not wanted, it is not tried.
  explicit CPatientLock(int directory, bool isWanted = true);
  ~CPatientLock() { Release(); }
  CPatientLock(const CPatientLock&) = delete;
  CPatientLock& operator=(const CPatientLock&) = delete;

  bool isHeld() const { return m_isHeld; }
  void Release();

 private:
  int m_directory;
  bool m_isHeld = false;
};

}  // namespace tool

#endif  // TOOLS_PATIENT_LOCK_H_
