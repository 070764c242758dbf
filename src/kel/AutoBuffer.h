// AutoBuffer: an owning, reference-counted, copy-on-write byte buffer, with the flat and ring
// byte forms of a length-prefixed record; AutoBufferGuts is its shared body.
#ifndef ZO_KEL_AUTOBUFFER_H
#define ZO_KEL_AUTOBUFFER_H

#include <cstdint>
#include <cstring>

#include "kel/export.h"
#include "kel/osdep/AtomicInt.h"

namespace zo {
namespace kel {

class AutoBuffer;
class BufferWrapper;

/// The shared body of AutoBuffer: a reference count and one heap block [begin, begin + capacity)
/// of which the first Len = end - begin bytes are in use. Blocks come from the DLLMalloc family.
class ZO_KEL_API AutoBufferGuts {
 public:
  /// Count 1, no block, capacity 0.
  AutoBufferGuts() noexcept : count_(1), begin_(nullptr), capacity_(0), end_(nullptr) {}
  /// A unique copy: count 1, the source's capacity, a new block of that capacity holding the
  /// source's Len bytes (bytes beyond Len are not copied). Throws std::bad_alloc.
  AutoBufferGuts(const AutoBufferGuts& other) : AutoBufferGuts(other, other.capacity_) {}
  AutoBufferGuts& operator=(const AutoBufferGuts&) = delete;
  /// Frees the block.
  ~AutoBufferGuts();

  /// When n > capacity, reallocates the block to exactly n bytes and keeps Len and the bytes;
  /// otherwise does nothing. Throws std::bad_alloc with the body unchanged.
  void Reserve(std::uint32_t n);

  /// The block: first byte, one past the last byte in use, bytes in use, bytes allocated.
  ///@{
  unsigned char* Begin() const noexcept { return begin_; }
  unsigned char* End() const noexcept { return end_; }
  std::uint32_t Len() const noexcept { return static_cast<std::uint32_t>(end_ - begin_); }
  std::uint32_t Capacity() const noexcept { return capacity_; }
  ///@}
  /// Number of AutoBuffer objects sharing this body.
  std::int32_t RefCount() const noexcept { return count_.getCount(); }

 private:
  friend class AutoBuffer;
  // A unique copy of other's Len bytes in a new block of `capacity` (>= other's Len) bytes.
  AutoBufferGuts(const AutoBufferGuts& other, std::uint32_t capacity);

  osdep::AtomicInt count_;
  unsigned char* begin_;
  std::uint32_t capacity_;
  unsigned char* end_;
};

/// A growable byte buffer that shares its body between copies: copying and assignment are O(1),
/// and every mutation first makes the body unique (copy-on-write). The body's count is atomic,
/// so buffers sharing one body may be copied and destroyed on different threads; one AutoBuffer
/// object must not be used from two threads at once.
///
/// Lengths are at most kMaxLen; a request for more throws std::bad_alloc, like an exhausted
/// heap. Every operation that throws std::bad_alloc leaves the buffer as it was.
class ZO_KEL_API AutoBuffer {
 public:
  /// The longest buffer: its record (length field + bytes) must fit a 32-bit size.
  static constexpr std::uint32_t kMaxLen = 0xFFFFFFFFu - 4u;

  /// Empty, without a body.
  AutoBuffer() noexcept : guts_(nullptr) {}
  /// Empty, with a body whose capacity is exactly n (no body block when n is 0).
  explicit AutoBuffer(std::uint32_t n);
  /// A copy of the n bytes at p.
  AutoBuffer(const unsigned char* p, std::uint32_t n);
  /// A copy of the viewed bytes.
  explicit AutoBuffer(const BufferWrapper& view);
  /// Shares other's body.
  AutoBuffer(const AutoBuffer& other) noexcept : guts_(other.guts_) {
    if (guts_ != nullptr) guts_->count_.increment();
  }
  /// Takes other's body; other is left empty without a body.
  AutoBuffer(AutoBuffer&& other) noexcept : guts_(other.guts_) { other.guts_ = nullptr; }
  /// Shares other's body. Assignment to itself or from a buffer that already shares this body
  /// does nothing; otherwise this buffer's old body is released.
  AutoBuffer& operator=(const AutoBuffer& other) noexcept;
  /// Takes other's body; other is left empty without a body.
  AutoBuffer& operator=(AutoBuffer&& other) noexcept;
  /// Replaces the contents with a copy of the viewed bytes in a body of its own. Throws
  /// std::bad_alloc with the buffer unchanged. The view must not point into this buffer.
  AutoBuffer& operator=(const BufferWrapper& view);
  ~AutoBuffer() { Free(); }

  /// Releases the body (freed with its block when this was the last sharer); the buffer is left
  /// empty without a body.
  void Free() noexcept;
  /// Empties the buffer: a unique body keeps its capacity; a shared body is released instead of
  /// copied (Free). An already empty buffer is left as it is.
  void Erase() noexcept;

  /// First byte, or null without a body. Writing through it is only for a unique body (after
  /// Skip, Reserve beyond the capacity, or any other mutation).
  unsigned char* Data() const noexcept { return guts_ != nullptr ? guts_->begin_ : nullptr; }
  /// Bytes in use, 0 without a body.
  std::uint32_t Len() const noexcept { return guts_ != nullptr ? guts_->Len() : 0; }
  /// Capacity of the body's block, 0 without a body.
  std::uint32_t MemUsage() const noexcept { return guts_ != nullptr ? guts_->capacity_ : 0; }

  /// Makes room for n bytes in all: when the capacity is already n or more nothing happens (even
  /// for a shared body); otherwise the body is made unique with a capacity of exactly n.
  void Reserve(std::uint32_t n);
  /// Appends the n bytes at p (which may lie inside this buffer). Nothing happens for n = 0.
  /// When they do not fit, the capacity becomes need + max(128, need / 10) with need = Len + n.
  inline void Append(const void* p, std::uint32_t n);
  /// Removes the last n bytes (all of them when n > Len); the capacity is kept. Nothing happens
  /// without a body.
  inline void UnAppend(std::uint32_t n);
  /// Extends the length by n bytes left as they are (uninitialised unless written before, e.g. by
  /// Modify), growing the capacity to exactly Len + n when needed. Callers that skip repeatedly
  /// Reserve first.
  inline void Skip(std::uint32_t n);
  /// Writes n bytes at offset, growing the capacity like Append when offset + n passes it.
  /// Deliberately never changes Len: bytes written past it sit in reserved space, where a later
  /// Skip exposes them.
  void Modify(std::uint32_t offset, const void* p, std::uint32_t n);

  /// Exchanges the bodies of two buffers.
  void swap(AutoBuffer& other) noexcept {
    AutoBufferGuts* g = guts_;
    guts_ = other.guts_;
    other.guts_ = g;
  }

  /// Byte-wise order of the contents (see CompareBuffers); a shorter prefix sorts first.
  ///@{
  bool operator==(const AutoBuffer& other) const noexcept;
  bool operator<(const AutoBuffer& other) const noexcept;
  ///@}

  /// Bytes of the flat record: the 4-byte length field and the Len bytes.
  std::uint32_t serializationSize() const noexcept { return Len() + 4u; }
  /// Writes the flat record (4-byte little-endian Len, then the bytes) at pos and advances pos.
  /// Throws BufferOverflow recorded at ("AutoBuffer", 368) when it does not fit before end;
  /// nothing is written then.
  void serialize(unsigned char*& pos, const unsigned char* end) const;
  /// Replaces the contents with the flat record at pos and advances pos past it. Throws
  /// DeserializationError recorded at ("AutoBuffer", 387) when fewer than 4 bytes remain and at
  /// ("AutoBuffer", 393) when fewer than the recorded length remain after them; after any
  /// failure (std::bad_alloc included) the buffer and pos are unchanged. The input must not lie
  /// inside this buffer.
  void deserialize(const unsigned char*& pos, const unsigned char* end);

  /// Ring forms. A ring is [ringBegin, ringEnd) with a cursor pos inside it; a record (the flat
  /// record above) runs on at ringBegin when it reaches ringEnd, anywhere, also inside the length
  /// field. After a record the cursor is always inside the ring, never at ringEnd. A cursor
  /// outside the ring throws InvalidArgument.

  /// pos + 1, wrapped to ringBegin when it reaches ringEnd.
  ///@{
  static void circularIncrement(unsigned char* ringBegin, const unsigned char* ringEnd,
                                unsigned char*& pos) noexcept {
    if (++pos == ringEnd) pos = ringBegin;
  }
  static void circularIncrement(const unsigned char* ringBegin, const unsigned char* ringEnd,
                                const unsigned char*& pos) noexcept {
    if (++pos == ringEnd) pos = ringBegin;
  }
  ///@}
  /// Writes the 4 bytes of Len, lowest first, each followed by circularIncrement.
  void circularSerializeLength(unsigned char* ringBegin, const unsigned char* ringEnd,
                               unsigned char*& pos) const noexcept;
  /// Writes the record into the ring at pos and advances pos. Throws BufferOverflow recorded at
  /// ("AutoBuffer", 446), with nothing written, when the record is larger than the whole ring.
  /// Whether it overwrites unread data is the caller's business.
  void circularSerialize(unsigned char* ringBegin, const unsigned char* ringEnd,
                         unsigned char*& pos) const;
  /// Replaces the contents with the record at pos and advances pos past it. Throws
  /// DeserializationError recorded at ("AutoBuffer", 487) when the ring is smaller than 4 bytes
  /// (pos unchanged) and at ("AutoBuffer", 509) when it is smaller than the recorded length + 4;
  /// that failure, like std::bad_alloc, comes after the length field was read and leaves pos
  /// just past it. After every failure the buffer is unchanged.
  void circularDeserialize(const unsigned char* ringBegin, const unsigned char* ringEnd,
                           const unsigned char*& pos);

 private:
  static AutoBufferGuts* NewGuts(const AutoBufferGuts* source, std::uint32_t capacity);
  static void ReleaseGuts(AutoBufferGuts* guts) noexcept;
  bool IsUnique() const noexcept { return guts_ != nullptr && guts_->count_.getCount() == 1; }
  // Makes the body unique with a capacity of at least `capacity` (exactly the larger of it and
  // the current capacity). When the old body was shared it is returned still holding this
  // buffer's reference, for the caller to release once it no longer reads the old bytes;
  // otherwise null. Strong guarantee.
  AutoBufferGuts* Unique(std::uint32_t capacity);
  void UniqueAndRelease(std::uint32_t capacity) { ReleaseGuts(Unique(capacity)); }
  void AppendSlow(const void* p, std::uint32_t n);
  void UnAppendSlow(std::uint32_t n);
  void SkipSlow(std::uint32_t n);
  // Reserve(na + nb), Erase(), Append(a, na), Append(b, nb), with the strong guarantee.
  void Replace(const unsigned char* a, std::uint32_t na, const unsigned char* b, std::uint32_t nb);

  AutoBufferGuts* guts_;
};

// The common cases (a unique body with room) stay inline: the serializers call these per field.

inline void AutoBuffer::Append(const void* p, std::uint32_t n) {
  if (n == 0) return;
  if (IsUnique() && n <= guts_->capacity_ - guts_->Len()) {
    std::memcpy(guts_->end_, p, n);
    guts_->end_ += n;
    return;
  }
  AppendSlow(p, n);
}

inline void AutoBuffer::UnAppend(std::uint32_t n) {
  if (IsUnique() && n <= guts_->Len()) {
    guts_->end_ -= n;
    return;
  }
  UnAppendSlow(n);
}

inline void AutoBuffer::Skip(std::uint32_t n) {
  if (IsUnique() && n <= guts_->capacity_ - guts_->Len()) {
    guts_->end_ += n;
    return;
  }
  SkipSlow(n);
}

}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_AUTOBUFFER_H
