// The argument reader of zo-kel's subcommands.
#include "Cli.h"

namespace zokel_tool {

namespace {

bool LooksNumeric(const std::string& word) {
  if (word.size() < 2 || word[0] != '-') return false;
  const char c = word[1];
  return (c >= '0' && c <= '9') || c == '.';
}

}  // namespace

Args::Args(int argc, char** argv, int first) {
  bool optionsEnded = false;
  for (int i = first; i < argc; ++i) {
    const std::string word = argv[i];
    if (!optionsEnded && word == "--") {
      optionsEnded = true;
      continue;
    }
    words_.push_back(Word{word, optionsEnded, false});
  }
}

bool Args::isOption(const Word& w) const {
  return !w.afterDashes && w.text.size() > 1 && w.text[0] == '-' && !LooksNumeric(w.text);
}

bool Args::flag(const std::string& name) {
  bool found = false;
  for (Word& w : words_) {
    if (!w.taken && !w.afterDashes && w.text == name) w.taken = found = true;
  }
  return found;
}

std::vector<std::string> Args::options(const std::string& name) {
  std::vector<std::string> values;
  const std::string& bare = name;
  for (std::size_t i = 0; i < words_.size(); ++i) {
    Word& w = words_[i];
    if (w.taken || w.afterDashes) continue;
    if (w.text == bare) {
      if (i + 1 >= words_.size() || words_[i + 1].taken) {
        throw UsageError("option " + bare + " needs a value");
      }
      w.taken = words_[i + 1].taken = true;
      values.push_back(words_[i + 1].text);
      ++i;
    } else if (w.text.compare(0, bare.size() + 1, bare + "=") == 0) {
      w.taken = true;
      values.push_back(w.text.substr(bare.size() + 1));
    }
  }
  return values;
}

std::optional<std::string> Args::option(const std::string& name) {
  std::vector<std::string> values = options(name);
  if (values.empty()) return std::nullopt;
  if (values.size() > 1) throw UsageError("option " + name + " is given more than once");
  return values.front();
}

std::vector<std::string> Args::finish(std::size_t minCount, std::size_t maxCount) {
  std::vector<std::string> positionals;
  for (const Word& w : words_) {
    if (w.taken) continue;
    if (isOption(w)) throw UsageError("unknown option " + w.text + " (see --help)");
    positionals.push_back(w.text);
  }
  if (positionals.size() < minCount) throw UsageError("missing argument (see --help)");
  if (positionals.size() > maxCount) {
    throw UsageError("unexpected argument \"" + positionals[maxCount] + "\" (see --help)");
  }
  return positionals;
}

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
