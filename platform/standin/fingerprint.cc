// Fingerprints: the 64-bit FNV-1a hash in hexadecimal digits.

#include <algorithm>
#include <cstdint>

#include "zel.h"

namespace {

constexpr uint64_t kOffsetBasis = 0xcbf29ce484222325;
constexpr uint64_t kPrime = 0x100000001b3;
constexpr size_t kDigits = 16;

uint64_t Hash(const unsigned char* bytes, size_t length) {
  uint64_t hash = kOffsetBasis;
  for (size_t i = 0; i < length; ++i) hash = (hash ^ bytes[i]) * kPrime;
  return hash;
}

}  // namespace

// There is one kind of fingerprint: kind selects nothing.
int FingerprintFromData(const void* data, size_t length, char* out,
                        size_t outsize, int /*kind*/) {
  if (out == nullptr || outsize == 0) return 0;
  if (data == nullptr) length = 0;
  const uint64_t hash = Hash(static_cast<const unsigned char*>(data), length);
  const size_t digits = std::min(kDigits, outsize - 1);
  for (size_t i = 0; i < digits; ++i) {
    out[i] = "0123456789abcdef"[(hash >> (60 - 4 * i)) & 0xf];
  }
  out[digits] = '\0';
  return static_cast<int>(digits);
}
