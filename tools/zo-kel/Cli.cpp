// The errors and value checks of zo-kel's subcommands.
#include "Cli.h"

namespace zokel_tool {

std::string Reason(const std::exception& e) {
  std::string text = e.what();
  // A leading "Name: " whose name is one word starting with a capital is the error's class.
  const std::size_t colon = text.find(": ");
  if (colon != std::string::npos && colon > 0 && text[0] >= 'A' && text[0] <= 'Z' &&
      text.find_first_of(" .", 0) > colon) {
    text.erase(0, colon + 2);
  }
  return text;
}

unsigned ParseUnsigned(const std::string& text, unsigned max, const char* what) {
  unsigned long long value = 0;
  bool ok = !text.empty() && text.size() <= 10;
  for (char c : text) {
    if (c < '0' || c > '9') {
      ok = false;
      break;
    }
    value = value * 10 + static_cast<unsigned>(c - '0');
  }
  if (!ok || value > max) {
    throw UsageError(std::string(what) + " must be a number from 0 to " + std::to_string(max) +
                     ", not \"" + text + "\"");
  }
  return static_cast<unsigned>(value);
}

}  // namespace zokel_tool
