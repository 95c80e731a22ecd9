// Steps of a change on disk: each is there before the next one begins.

#ifndef UPGRADE_DISK_H_
#define UPGRADE_DISK_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <string_view>

namespace KivDB {

// Each step gives kOk, or kInvalid with a line that says what cannot be done to
// which path and why.

// Logs that line, with errno, and gives kInvalid.
int DiskError(const char* what, const std::string& path);

// The directory of a path with a slash.
std::string ParentOf(const std::string& path);

// Whether there is such an entry; links are not followed.
bool IsThere(const std::string& path);
bool IsDirectory(const std::string& path);

int SyncDirectory(const std::string& path);

// Makes a directory and forces its name to disk; one that is there will do.
int MakeDirectory(const std::string& path, mode_t mode);

// Renames, over what a rename replaces, and forces both directories to disk.
int Rename(const std::string& from, const std::string& to);

// The same, but kNotEmpty, without a line, where the name is taken.
int RenameNew(const std::string& from, const std::string& to);

// Writes a file as a whole and forces it to disk, though not its name.  Where
// like is given its mode and, as far as that is allowed, its owner count.
int WriteFile(const std::string& path, std::string_view content, mode_t mode,
              const struct stat* like = nullptr);

// Gives what is open the mode and, as far as that is allowed, the owner.
int MakeLike(int fd, const struct stat& like, const std::string& path);

}  // namespace KivDB

#endif  // UPGRADE_DISK_H_
