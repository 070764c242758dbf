// The library's narrow text guts, declared here so that the serializer can read their
// characters without going through the interface.
#ifndef ZO_KEL_VARDATA_STRINGGUTS_IMPL_H
#define ZO_KEL_VARDATA_STRINGGUTS_IMPL_H

#include <cstdint>
#include <cstring>
#include <typeinfo>

#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/IVarDataGuts.h"

namespace zo {
namespace kel {
namespace detail {

/// The first and the last sizeof(Word) bytes of n, which together cover them
/// (sizeof(Word) <= n <= 2 * sizeof(Word)).
template <class Word>
inline void CopyTwoWords(void* to, const void* from, std::uint32_t n) noexcept {
  Word first, last;
  std::memcpy(&first, from, sizeof first);
  std::memcpy(&last, static_cast<const char*>(from) + n - sizeof last, sizeof last);
  std::memcpy(to, &first, sizeof first);
  std::memcpy(static_cast<char*>(to) + n - sizeof last, &last, sizeof last);
}

/// Sixteen bytes, copied as one unit (one vector register where the target has them).
struct Bytes16 {
  unsigned char bytes[16];
};

/// Copies n bytes (none when n is 0). Texts are mostly short: up to 32 bytes are copied inline
/// as two overlapping words instead of through a library call.
inline void CopyTextBytes(void* to, const void* from, std::uint32_t n) noexcept {
  if (n <= 16) {
    if (n >= 8) {
      CopyTwoWords<std::uint64_t>(to, from, n);
    } else if (n >= 4) {
      CopyTwoWords<std::uint32_t>(to, from, n);
    } else {
      for (std::uint32_t i = 0; i < n; ++i) {
        static_cast<char*>(to)[i] = static_cast<const char*>(from)[i];
      }
    }
  } else if (n <= 32) {
    CopyTwoWords<Bytes16>(to, from, n);
  } else {
    std::memcpy(to, from, n);
  }
}

/// Ends a text guts object and frees its storage (object and characters) by its full size.
template <class T>
void DestroyText(T* text) noexcept;

/// Narrow text guts: the interfaces, the count and the length, followed in the same block by the
/// characters and a terminator, so that a short text costs one small block.
class AnsiGuts final : public GutsObject<IVarDataAnsi, IAnsiGuts> {
 public:
  using Char = char;

  /// A new object (count 1) holding a copy of `length` characters. Throws std::bad_alloc.
  static AnsiGuts* Make(const char* text, std::uint32_t length);

  /// `guts` as the library's own narrow text guts, or null when they are of another class or
  /// from another module. The test reads the object's type once, which costs less than the two
  /// interface calls it saves a writer. It compares type objects by address, not by name: another
  /// module may hold a different build of this class, whose layout this one cannot know.
  static const AnsiGuts* Own(const IVarDataAnsi* guts) noexcept {
    return guts != nullptr && &typeid(*guts) == &typeid(AnsiGuts)
               ? static_cast<const AnsiGuts*>(guts)
               : nullptr;
  }

  /// Constructs the object in storage that has room for `length` + 1 characters after it.
  explicit AnsiGuts(std::uint32_t length) noexcept : length_(length) {}

  /// The characters, terminated.
  const char* text() const noexcept { return reinterpret_cast<const char*>(this + 1); }
  char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
  /// The number of characters.
  std::uint32_t length() const noexcept { return length_; }

  std::int32_t Release() override;
  // Release never deletes a text guts; the deleting destructor needs an operator delete, and it
  // comes here only if that were broken.
  static void operator delete(void*) noexcept;

  std::int32_t QueryInterface(const GUID& iid, void** out) override;
  operator bool() const override;
  operator double() const override;
  std::int32_t Compare(const IVarDataGuts* other) const override;
  const char* GetData() const override { return text(); }
  std::uint32_t GetLength() const override { return length_; }
  std::int32_t Compare(const IAnsiGuts* other) const override;
  std::int32_t ExactCompare(const IAnsiGuts* other) const override;
  std::int32_t Compare(const char* other) const override;
  std::int32_t ExactCompare(const char* other) const override;
  IAnsiGuts* ToLower() const override;
  IAnsiGuts* ToUpper() const override;
  IAnsiGuts* Concat(const IAnsiGuts* other) const override;
  IAnsiGuts* Concat(const char* other) const override;
  IAnsiGuts* Left(std::uint32_t n) const override;
  IAnsiGuts* Right(std::uint32_t n) const override;
  IAnsiGuts* Mid(std::uint32_t start, std::uint32_t count) const override;
  IAnsiGuts* Proper() const override;

 private:
  friend void DestroyText<AnsiGuts>(AnsiGuts*) noexcept;
  ~AnsiGuts() override = default;

  const char* textEnd() const noexcept { return text() + length_; }
  AnsiGuts* Joined(const char* more, std::uint32_t n) const;
  template <class Map>
  IAnsiGuts* Mapped(Map map) const;

  std::uint32_t length_;
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_VARDATA_STRINGGUTS_IMPL_H
