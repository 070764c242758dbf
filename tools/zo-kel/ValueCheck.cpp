// The library's reading of a value image, whole or element by element, compared with the input.
#include "ValueCheck.h"

#include <algorithm>
#include <new>

#include "Cli.h"
#include "ValueImage.h"
#include "kel/AutoBuffer.h"
#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

namespace {

// Values up to this size are read and written back whole: three copies of a megabyte cost
// little, and one call of the library is quicker than one per element.
constexpr std::size_t kWholeValueBytes = std::size_t{1} << 20;

std::uint32_t U32(const unsigned char* p) {
  return static_cast<std::uint32_t>(p[0] | p[1] << 8 | p[2] << 16) |
         static_cast<std::uint32_t>(p[3]) << 24;
}

// The library refused the piece of the image that starts at `at`.
struct Refused {
  const unsigned char* at;
};

// Reads a value with the library piece by piece: leaves (and keys) whole, arrays, dictionaries
// and cells as their header and their elements, each compared with the library's image of it.
// The container rules of the reader are kept: trailing empty array elements are dropped (element
// 0 stays), and a dictionary out of key order is left to the library as a whole.
class Checker {
 public:
  Checker(const unsigned char* begin, bool compact, std::uint64_t base)
      : begin_(begin), compact_(compact), base_(base) {}

  std::uint64_t normalFrom() const { return first_; }

  // The value at p; `empty`, when given, receives whether it reads as an empty value.
  const unsigned char* value(const unsigned char* p, const unsigned char* end, bool* empty) {
    if (static_cast<std::size_t>(end - p) >= 8) {
      const auto kind = static_cast<std::uint16_t>(U32(p));
      if (kind == VarData::kArray || kind == VarData::kDictionary || kind == VarData::kCell) {
        if (empty != nullptr) *empty = false;
        if (kind == VarData::kCell) {
          header(p, 8);
          return value(p + 8, end, nullptr);
        }
        return sequence(p, end, kind == VarData::kDictionary);
      }
    }
    return whole(p, end, empty, nullptr);
  }

  // The value at p read and written back by the library in one go; `kept` receives it.
  const unsigned char* whole(const unsigned char* p, const unsigned char* end, bool* empty,
                             VarData* kept) {
    VarData v;
    const unsigned char* cursor = readBack(p, end, v);
    compare(p, static_cast<std::size_t>(cursor - p), again_.Data(), again_.Len());
    if (empty != nullptr) *empty = v.IsEmpty();
    if (kept != nullptr) *kept = std::move(v);
    return cursor;
  }

 private:
  // Reads the value at p into v and leaves the library's image of it in again_.
  const unsigned char* readBack(const unsigned char* p, const unsigned char* end, VarData& v) {
    const unsigned char* cursor = p;
    try {
      v.deserializeImpl(cursor, end, compact_);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception&) {
      throw Refused{p};
    }
    again_.UnAppend(again_.Len());
    v.SerializeWithoutSize(again_, compact_);
    return cursor;
  }

  void differs(const unsigned char* at) {
    first_ = std::min(first_, base_ + static_cast<std::uint64_t>(at - begin_));
  }

  void compare(const unsigned char* p, std::size_t n, const unsigned char* image, std::size_t m) {
    const std::size_t common = std::min(n, m);
    const auto at = static_cast<std::size_t>(std::mismatch(p, p + common, image).first - p);
    if (at != common || n != m) differs(p + at);
  }

  // The type word (and a cell's row and column) of a container, written back by the library
  // with no elements.
  void header(const unsigned char* p, std::size_t n) {
    unsigned char mini[20] = {};
    std::copy(p, p + n, mini);
    if (n == 8) mini[8] = VarData::kEmpty;  // a cell holding an empty value
    VarData v;
    try {
      readBack(mini, mini + n + (n == 8 && !compact_ ? 12 : 4), v);
    } catch (const Refused&) {
      throw Refused{p};
    }
    const unsigned char* image = again_.Data();
    const auto at = static_cast<std::size_t>(std::mismatch(p, p + n, image).first - p);
    if (at != n) differs(p + at);
  }

  const unsigned char* sequence(const unsigned char* p, const unsigned char* end, bool dictionary) {
    const std::uint64_t before = first_;
    header(p, 4);
    const std::uint32_t n = U32(p + 4);
    const unsigned char* q = p + 8;
    std::uint32_t written = dictionary ? n : 0;
    VarData previous, key;
    for (std::uint32_t i = 0; i < n; ++i) {
      if (dictionary) {
        q = whole(q, end, nullptr, &key);
        if (i != 0 && key.Compare(previous) <= 0) {
          // Keys out of order or repeated: the library sorts and merges them.
          first_ = before;
          return whole(p, end, nullptr, nullptr);
        }
        previous = std::move(key);
        q = value(q, end, nullptr);
        continue;
      }
      bool empty = false;
      q = value(q, end, &empty);
      if (!empty || i == 0) written = i + 1;
    }
    for (int k = 0; k < 4; ++k) {
      if ((written >> 8 * k & 0xFF) != p[4 + k]) {
        differs(p + 4 + k);
        break;
      }
    }
    return q;
  }

  const unsigned char* begin_;
  bool compact_;
  std::uint64_t base_;
  std::uint64_t first_ = kNormalForm;
  zo::kel::AutoBuffer again_;  // the library's image of the piece read last
};

ToolError Located(const std::string& form, const ImageFailure& f) {
  return ToolError(form + ": " + ShortPath(f.path) + " at byte " + std::to_string(f.offset) + ": " +
                   f.reason);
}

}  // namespace

ValueCheck CheckValueImage(const unsigned char* value, const unsigned char* end, bool compact,
                           std::uint64_t base, const std::string& form) {
  const bool large = static_cast<std::size_t>(end - value) > kWholeValueBytes;
  try {
    // Piece by piece, the library sees no nesting depth: the walk checks it, and names any
    // element that does not read, first.
    if (large) WalkValueImage(value, end, compact, base);
    Checker checker(value, compact, base);
    const unsigned char* valueEnd =
        large ? checker.value(value, end, nullptr) : checker.whole(value, end, nullptr, nullptr);
    return {valueEnd, checker.normalFrom()};
  } catch (const ImageFailure& f) {
    throw Located(form, f);
  } catch (const Refused& r) {
    try {
      WalkValueImage(value, end, compact, base);
    } catch (const ImageFailure& f) {
      throw Located(form, f);
    }
    throw ToolError(form + ": value at byte " +
                    std::to_string(base + static_cast<std::uint64_t>(r.at - value)) +
                    ": the library's reader refuses it");
  }
}

}  // namespace zokel_tool
