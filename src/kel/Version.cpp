// The loaded library's version: compiled into the shared object from the generated header, so
// that a program can compare it with the headers it was built against.
#include "zo_kel_basics/version.h"

namespace zo {
namespace kel {

const char* LibraryVersion() noexcept { return ZO_KEL_BASICS_VERSION_STRING; }

int LibraryVersionNumber() noexcept {
  return ZO_KEL_BASICS_VERSION_MAJOR * 10000 + ZO_KEL_BASICS_VERSION_MINOR * 100 +
         ZO_KEL_BASICS_VERSION_PATCH;
}

}  // namespace kel
}  // namespace zo
