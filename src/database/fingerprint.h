// Fingerprints of texts, such as the one that follows a schema line.

#ifndef DATABASE_FINGERPRINT_H_
#define DATABASE_FINGERPRINT_H_

#include <cstddef>

#include "zel.h"

namespace KivDB {

constexpr std::size_t kFingerprintSize = 65;

// The fingerprint of a text, empty where there is none.
inline void MakeFingerprint(const char* text, std::size_t length,
                            char (&fingerprint)[kFingerprintSize]) {
  constexpr int kKind = 3;
  fingerprint[0] = '\0';
  FingerprintFromData(text, length, fingerprint, sizeof(fingerprint), kKind);
}

}  // namespace KivDB

#endif  // DATABASE_FINGERPRINT_H_
