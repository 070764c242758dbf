// Compile-time base name of the current source file, for the place of a throw.
#ifndef ZO_KEL_SOURCENAME_H
#define ZO_KEL_SOURCENAME_H

#include <cstddef>

namespace zo {
namespace kel {
namespace detail {

// Holds the base name of a path (no folders, no extension), computed while compiling, so that
// no build path ends up in the binary.
template <std::size_t N>
struct SourceName {
  char text[N] = {};

  constexpr explicit SourceName(const char (&path)[N]) {
    std::size_t first = 0;
    for (std::size_t i = 0; i + 1 < N; ++i) {
      if (path[i] == '/' || path[i] == '\\') first = i + 1;
    }
    std::size_t last = N - 1;
    for (std::size_t i = N - 1; i > first; --i) {
      if (path[i - 1] == '.') {
        last = i - 1;
        break;
      }
    }
    for (std::size_t i = first; i < last; ++i) text[i - first] = path[i];
  }
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

/// The base name of the file being compiled, as a `const char*` to static storage.
#define ZO_KEL_SOURCE_NAME                                                                   \
  ([]() noexcept -> const char* {                                                            \
    static constexpr ::zo::kel::detail::SourceName<sizeof(__FILE__)> kZoKelName(__FILE__); \
    return kZoKelName.text;                                                                  \
  }())

/// The (source name, line) pair that every library exception is constructed from.
#define ZO_KEL_HERE ZO_KEL_SOURCE_NAME, __LINE__

#endif  // ZO_KEL_SOURCENAME_H
