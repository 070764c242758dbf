// Helpers shared by the fuzz targets: a check that stops the run with a message, and byte
// vectors of what a writer produced.
#ifndef ZO_KEL_FUZZ_FUZZCHECK_H
#define ZO_KEL_FUZZ_FUZZCHECK_H

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "kel/AutoBuffer.h"

/// Aborts the run (a finding for libFuzzer) when the property does not hold.
#define FUZZ_CHECK(condition)                                                               \
  do {                                                                                      \
    if (!(condition)) {                                                                     \
      std::fprintf(stderr, "%s:%d: property failed: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                         \
    }                                                                                       \
  } while (false)

namespace zo_kel_fuzz {

using Bytes = std::vector<unsigned char>;

inline Bytes ToBytes(const zo::kel::AutoBuffer& buffer) {
  return Bytes(buffer.Data(), buffer.Data() + buffer.Len());
}

}  // namespace zo_kel_fuzz

#endif  // ZO_KEL_FUZZ_FUZZCHECK_H
