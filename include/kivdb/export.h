// Marks the classes that the shared library exports.

#ifndef KIVDB_EXPORT_H_
#define KIVDB_EXPORT_H_

#define KIVDB_EXPORT __attribute__((visibility("default")))

#endif  // KIVDB_EXPORT_H_
