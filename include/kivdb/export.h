// Marks what the shared library exports, and what of it stays inside.

#ifndef KIVDB_EXPORT_H_
#define KIVDB_EXPORT_H_

#define KIVDB_EXPORT __attribute__((visibility("default")))
#define KIVDB_LOCAL __attribute__((visibility("hidden")))

#endif  // KIVDB_EXPORT_H_
