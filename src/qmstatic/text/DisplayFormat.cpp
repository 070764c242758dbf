// The display format table and the lookups by number and by name.
#include "qmstatic/text/DisplayFormat.h"

#include <cstring>

#include "qmstatic/text/DisplayFormat_impl.h"

bool IsFormat0(const char* name, short* index) {
  if (name == nullptr) return false;
  for (unsigned i = 0; i < zo::kel::detail::kDisplayFormatCount; ++i) {
    if (std::strcmp(name, zo::kel::detail::DisplayFormatAt(i).name) == 0) {
      if (index != nullptr) *index = static_cast<short>(i);
      return true;
    }
  }
  return false;
}

char* GetFormatText0(unsigned index, char* dst, unsigned size) {
  if (dst == nullptr || size == 0) return dst;
  std::strncpy(dst, zo::kel::detail::DisplayFormatAt(index).name, size);
  dst[size - 1] = '\0';
  return dst;
}

int SetOverflow(char* dst, unsigned size) {
  if (dst == nullptr || size == 0) return 0;
  const unsigned n = (size < 16 ? size : 16) - 1;
  std::memset(dst, '*', n);
  dst[n] = '\0';
  return -static_cast<int>(n);
}
