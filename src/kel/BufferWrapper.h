// BufferWrapper: a non-owning view of bytes (pointer + 32-bit length) with the flat record form,
// and CompareBuffers, the byte order shared by the buffer types.
#ifndef ZO_KEL_BUFFERWRAPPER_H
#define ZO_KEL_BUFFERWRAPPER_H

#include <cstdint>

#include "kel/AutoBuffer.h"
#include "kel/export.h"

namespace zo {
namespace kel {

template <class C, class OtherC, class WideC>
class StringBase;

/// A view of `length` bytes at `data`. It never owns or frees them: the viewed buffer, string or
/// input must outlive the view, and a view of an AutoBuffer is invalidated by any mutation of
/// that buffer.
class ZO_KEL_API BufferWrapper {
 public:
  /// The empty view.
  BufferWrapper() noexcept : data_(nullptr), length_(0) {}
  /// Views `length` bytes at `data`, not copied: they must outlive the view.
  BufferWrapper(const unsigned char* data, std::uint32_t length) noexcept
      : data_(data), length_(length) {}
  /// Views the buffer's bytes (Data(), Len()).
  BufferWrapper(const AutoBuffer& buffer) noexcept  // NOLINT: a buffer is usable as a view
      : data_(buffer.Data()), length_(buffer.Len()) {}
  /// Views the characters of a narrow string (without its terminator). Usable wherever the
  /// string type is complete.
  template <class W>
  BufferWrapper(const StringBase<char, wchar_t, W>& s) noexcept  // NOLINT: as above
      : data_(reinterpret_cast<const unsigned char*>(s.begin())),
        length_(static_cast<std::uint32_t>(s.size())) {}

  /// The viewed bytes and their count.
  ///@{
  const unsigned char* Data() const noexcept { return data_; }
  std::uint32_t Len() const noexcept { return length_; }
  ///@}

  /// Byte-wise order (CompareBuffers): equal when it returns 0, less when it returns -1.
  ///@{
  bool operator==(const BufferWrapper& other) const noexcept;
  bool operator<(const BufferWrapper& other) const noexcept;
  ///@}

  /// Bytes of the flat record: the 4-byte length field and the viewed bytes.
  std::uint32_t serializationSize() const noexcept { return length_ + 4u; }
  /// Writes the flat record (4-byte little-endian length, then the bytes) at pos and advances
  /// pos. Throws BufferOverflow recorded at ("little_endian", 111), with nothing written, when it
  /// does not fit before end.
  void serialize(unsigned char*& pos, const unsigned char* end) const;
  /// Points the view at the bytes of the flat record at pos, inside the input (nothing is
  /// copied), and advances pos past the record. Throws DeserializationError recorded at
  /// ("BufferWrapper", 72) when fewer than 4 bytes remain and at ("BufferWrapper", 78) when
  /// fewer than the recorded length remain after them; the view and pos are then unchanged.
  void deserialize(const unsigned char*& pos, const unsigned char* end);

 private:
  const unsigned char* data_;
  std::uint32_t length_;
};

/// Plain lexicographic byte order: the first differing byte (as unsigned) decides; when one is a
/// prefix of the other the shorter is first. Returns -1, 0 or 1.
ZO_KEL_API int CompareBuffers(const BufferWrapper& a, const BufferWrapper& b) noexcept;

}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_BUFFERWRAPPER_H
