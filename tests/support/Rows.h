// Compact test tables: a list of short items written as one text.
#ifndef ZO_KEL_TESTS_ROWS_H
#define ZO_KEL_TESTS_ROWS_H

#include <string>
#include <vector>

namespace zo_kel_test {

/// The items of text separated by `separator`, blanks around each item removed:
/// Items("C2 41 | E2 82") is {"C2 41", "E2 82"}.
inline std::vector<std::string> Items(const std::string& text, char separator = '|') {
  std::vector<std::string> out;
  std::size_t start = 0;
  for (;;) {
    const std::size_t stop = text.find(separator, start);
    std::string item = text.substr(start, stop == std::string::npos ? stop : stop - start);
    const std::size_t first = item.find_first_not_of(' ');
    out.push_back(first == std::string::npos
                      ? std::string()
                      : item.substr(first, item.find_last_not_of(' ') + 1 - first));
    if (stop == std::string::npos) return out;
    start = stop + 1;
  }
}

}  // namespace zo_kel_test

#endif  // ZO_KEL_TESTS_ROWS_H
