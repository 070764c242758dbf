// The walk that names the failing element of a VarData image.
#include "ImageLocate.h"

#include <cstring>
#include <new>

#include "Bytes.h"
#include "Cli.h"
#include "Kinds.h"
#include "PacketTree.h"
#include "kel/Limits.h"
#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

namespace {

struct Failure {
  std::string where;
};

bool IsReadableKind(std::uint16_t kind) {
  if (kind == 0 || kind == VarData::kObsolete) return true;
  return KindName(kind) != nullptr;
}

class Locator {
 public:
  Locator(const unsigned char* begin, const unsigned char* limit, bool compact, std::uint64_t base)
      : begin_(begin), limit_(limit), compact_(compact), base_(base) {}

  // Returns the end of the element at p, or throws Failure.
  const unsigned char* element(const unsigned char* p, std::uint32_t depth,
                               const std::string& path) {
    if (remaining(p) < 4) {
      fail(path,
           "the image ends inside its type word (" + std::to_string(remaining(p)) + " of 4 bytes)");
    }
    const std::uint32_t type = u32(p);
    const auto kind = static_cast<std::uint16_t>(type);
    if ((kind & VarData::kGutsBit) != 0 && depth >= zo::kel::kMaxNestingDepth) {
      fail(path,
           "values nest deeper than " + std::to_string(zo::kel::kMaxNestingDepth) + " levels");
    }
    switch (kind) {
      case VarData::kArray:
        return sequence(p, depth, path + " (array)", "element", 1);
      case VarData::kDictionary:
        return sequence(p, depth, path + " (dictionary)", "entry", 2);
      case VarData::kCell:
        if (remaining(p + 4) < 4) fail(path, "the image ends inside the cell's row and column");
        return element(p + 8, depth + 1, path + " (cell), its value at offset " + offset(p + 8));
      default:
        return leaf(p, type, path);
    }
  }

  std::string offset(const unsigned char* p) const {
    return std::to_string(base_ + static_cast<std::uint64_t>(p - begin_));
  }

 private:
  std::size_t remaining(const unsigned char* p) const {
    return static_cast<std::size_t>(limit_ - p);
  }
  static std::uint32_t u32(const unsigned char* p) {
    std::uint32_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
  }
  [[noreturn]] static void fail(const std::string& path, const std::string& why) {
    throw Failure{path + ": " + why};
  }

  // Arrays (one value per element) and dictionaries (a key and a value per entry).
  const unsigned char* sequence(const unsigned char* p, std::uint32_t depth,
                                const std::string& path, const char* item, int perItem) {
    if (remaining(p + 4) < 4)
      fail(path, std::string("the image ends inside its ") + item + " count");
    const std::uint32_t count = u32(p + 4);
    const unsigned char* q = p + 8;
    for (std::uint32_t i = 0; i < count; ++i) {
      for (int part = 0; part < perItem; ++part) {
        const char* role = perItem == 1 ? "" : (part == 0 ? " key" : " value");
        q = element(
            q, depth + 1,
            path + ", " + item + " " + std::to_string(i) + role + " at offset " + offset(q));
      }
    }
    return q;
  }

  const unsigned char* leaf(const unsigned char* p, std::uint32_t type, const std::string& path) {
    const auto kind = static_cast<std::uint16_t>(type);
    if (!IsReadableKind(kind)) {
      fail(path,
           "unknown kind code " + HexNumber(kind, 4) + " (type word " + HexNumber(type, 8) + ")");
    }
    const char* name = KindName(kind);
    const std::string what =
        name != nullptr ? std::string(name) + " value" : "kind " + HexNumber(kind, 4) + " value";
    VarData v;
    const unsigned char* cursor = p;
    try {
      v.deserializeImpl(cursor, limit_, compact_);
      return cursor;
    } catch (const std::bad_alloc&) {
      fail(path, what + ": out of memory");
    } catch (const std::exception& e) {
      if (kind == VarData::kFlexData) {
        try {  // the walker names the malformed element of the packet and its offset
          WalkPacket(nullptr, p + 4, limit_, base_ + static_cast<std::uint64_t>(p + 4 - begin_), 0,
                     "");
        } catch (const ToolError& located) {
          fail(path, what + ": " + located.what());
        }
      }
      if (kind == VarData::kTGVariant || kind == VarData::kFlexData) {
        fail(path, what + ": " + e.what());
      }
      fail(path, what + ": the image ends inside it");
    }
  }

  const unsigned char* begin_;
  const unsigned char* limit_;
  bool compact_;
  std::uint64_t base_;
};

}  // namespace

std::string LocateFailure(const unsigned char* begin, const unsigned char* value,
                          const unsigned char* limit, bool compact, std::uint64_t base) {
  Locator locator(begin, limit, compact, base);
  try {
    locator.element(value, 0, "value at offset " + locator.offset(value));
  } catch (const Failure& failure) {
    return failure.where;
  }
  return std::string();
}

}  // namespace zokel_tool
