// The copy-on-write byte buffer: body management, growth, and the flat and ring record forms.
#include "kel/AutoBuffer.h"

#include <cstddef>
#include <functional>
#include <new>

#include "kel/BufferWrapper.h"
#include "kel/DLLMalloc.h"
#include "kel/exception.h"
#include "kel/little_endian.h"

namespace zo {
namespace kel {
namespace {

constexpr std::uint32_t kMinHeadroom = 128;

// Capacity for a block that must hold `need` bytes: 10 % headroom, at least 128 bytes.
// Deliberately takes the tenth of `need` as a signed 32-bit value, so that above 2 GiB the
// headroom is the 128-byte minimum; callers see the exact capacity through MemUsage. The result
// is capped at the largest 32-bit size.
std::uint32_t GrownCapacity(std::uint64_t need) {
  const std::int32_t tenth =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(need)) / 10;  // need <= kMaxLen
  const std::uint64_t headroom = tenth > static_cast<std::int32_t>(kMinHeadroom)
                                     ? static_cast<std::uint64_t>(tenth)
                                     : kMinHeadroom;
  const std::uint64_t capacity = need + headroom;
  return capacity > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<std::uint32_t>(capacity);
}

// A length beyond kMaxLen cannot be held: refused like an exhausted heap.
std::uint32_t CheckedLen(std::uint64_t need) {
  if (need > AutoBuffer::kMaxLen) throw std::bad_alloc();
  return static_cast<std::uint32_t>(need);
}

// True when p lies inside [begin, begin + n); compares addresses as integers because p may
// point into an unrelated object.
bool PointsInto(const void* p, const unsigned char* begin, std::uint32_t n) {
  const std::uintptr_t a = reinterpret_cast<std::uintptr_t>(p);
  const std::uintptr_t b = reinterpret_cast<std::uintptr_t>(begin);
  return begin != nullptr && a >= b && a - b < n;
}

}  // namespace

// ---- AutoBufferGuts

AutoBufferGuts::AutoBufferGuts(const AutoBufferGuts& other, std::uint32_t capacity)
    : count_(1),
      begin_(capacity != 0 ? static_cast<unsigned char*>(DLLMalloc(capacity)) : nullptr),
      capacity_(capacity),
      end_(begin_ + other.Len()) {
  if (begin_ != end_) std::memcpy(begin_, other.begin_, other.Len());
}

AutoBufferGuts::~AutoBufferGuts() { DLLFree(begin_); }

void AutoBufferGuts::Reserve(std::uint32_t n) {
  if (n <= capacity_) return;
  const std::uint32_t len = Len();
  begin_ = static_cast<unsigned char*>(DLLRealloc(begin_, n));
  capacity_ = n;
  end_ = begin_ + len;
}

// ---- AutoBuffer: bodies

AutoBufferGuts* AutoBuffer::NewGuts(const AutoBufferGuts* source, std::uint32_t capacity) {
  // Bodies come from the library's allocator like blocks, so that exhaustion is testable.
  void* memory = DLLMalloc(sizeof(AutoBufferGuts));
  try {
    if (source != nullptr) return new (memory) AutoBufferGuts(*source, capacity);
    AutoBufferGuts* guts = new (memory) AutoBufferGuts();
    guts->Reserve(capacity);
    return guts;
  } catch (...) {
    DLLFree(memory);
    throw;
  }
}

void AutoBuffer::ReleaseGuts(AutoBufferGuts* guts) noexcept {
  if (guts != nullptr && guts->count_.decrement() == 0) {
    guts->~AutoBufferGuts();
    DLLFree(guts);
  }
}

AutoBufferGuts* AutoBuffer::Unique(std::uint32_t capacity) {
  if (guts_ == nullptr) {
    guts_ = NewGuts(nullptr, capacity);
    return nullptr;
  }
  if (guts_->count_.getCount() == 1) {
    guts_->Reserve(capacity);
    return nullptr;
  }
  AutoBufferGuts* shared = guts_;
  guts_ = NewGuts(shared, capacity > shared->capacity_ ? capacity : shared->capacity_);
  return shared;
}

// ---- AutoBuffer: construction and assignment

AutoBuffer::AutoBuffer(std::uint32_t n) : guts_(NewGuts(nullptr, n)) {}

AutoBuffer::AutoBuffer(const unsigned char* p, std::uint32_t n) : guts_(nullptr) { Append(p, n); }

AutoBuffer::AutoBuffer(const BufferWrapper& view) : guts_(nullptr) {
  Append(view.Data(), view.Len());
}

AutoBuffer& AutoBuffer::operator=(const AutoBuffer& other) noexcept {
  if (guts_ != other.guts_) {
    Free();
    guts_ = other.guts_;
    if (guts_ != nullptr) guts_->count_.increment();
  }
  return *this;
}

AutoBuffer& AutoBuffer::operator=(AutoBuffer&& other) noexcept {
  if (this != &other) {
    Free();
    swap(other);
  }
  return *this;
}

AutoBuffer& AutoBuffer::operator=(const BufferWrapper& view) {
  AutoBuffer fresh(view);
  swap(fresh);
  return *this;
}

void AutoBuffer::Free() noexcept {
  ReleaseGuts(guts_);
  guts_ = nullptr;
}

void AutoBuffer::Erase() noexcept {
  if (guts_ == nullptr || guts_->Len() == 0) return;
  if (guts_->count_.getCount() > 1) {
    Free();
  } else {
    guts_->end_ = guts_->begin_;
  }
}

// ---- AutoBuffer: mutation

void AutoBuffer::Reserve(std::uint32_t n) {
  if (n == 0 || (guts_ != nullptr && guts_->capacity_ >= n)) return;
  UniqueAndRelease(n);
}

void AutoBuffer::AppendSlow(const void* p, std::uint32_t n) {
  const std::uint32_t len = Len();
  const std::uint32_t need = CheckedLen(static_cast<std::uint64_t>(len) + n);
  const unsigned char* oldBegin = Data();
  const std::uint32_t oldCapacity = MemUsage();
  const bool wasUnique = IsUnique();
  AutoBufferGuts* shared = Unique(need > oldCapacity ? GrownCapacity(need) : 0);
  const unsigned char* source = static_cast<const unsigned char*>(p);
  // Appending bytes of this very buffer: a reallocation may have moved them. (A shared old
  // block stays alive until `shared` is released below.)
  if (wasUnique && guts_->begin_ != oldBegin && PointsInto(p, oldBegin, oldCapacity)) {
    source = guts_->begin_ + (source - oldBegin);
  }
  std::memcpy(guts_->end_, source, n);
  guts_->end_ += n;
  ReleaseGuts(shared);
}

void AutoBuffer::UnAppendSlow(std::uint32_t n) {
  if (guts_ == nullptr) return;
  UniqueAndRelease(0);
  const std::uint32_t len = guts_->Len();
  guts_->end_ -= n < len ? n : len;
}

void AutoBuffer::SkipSlow(std::uint32_t n) {
  const std::uint32_t need = CheckedLen(static_cast<std::uint64_t>(Len()) + n);
  UniqueAndRelease(need);
  guts_->end_ += n;
}

void AutoBuffer::Modify(std::uint32_t offset, const void* p, std::uint32_t n) {
  const std::uint32_t need = CheckedLen(static_cast<std::uint64_t>(offset) + n);
  const unsigned char* oldBegin = Data();
  const std::uint32_t oldCapacity = MemUsage();
  const bool wasUnique = IsUnique();
  AutoBufferGuts* shared = Unique(need > oldCapacity ? GrownCapacity(need) : 0);
  const unsigned char* source = static_cast<const unsigned char*>(p);
  if (wasUnique && guts_->begin_ != oldBegin && PointsInto(p, oldBegin, oldCapacity)) {
    source = guts_->begin_ + (source - oldBegin);
  }
  // The block may have moved, but the body keeps Len: end was re-based with it.
  if (n != 0) std::memmove(guts_->begin_ + offset, source, n);
  ReleaseGuts(shared);
}

void AutoBuffer::Replace(const unsigned char* a, std::uint32_t na, const unsigned char* b,
                         std::uint32_t nb) {
  const std::uint32_t total = na + nb;
  if (total != 0 && guts_ != nullptr && guts_->Len() != 0 && guts_->count_.getCount() > 1 &&
      guts_->capacity_ >= total) {
    // Reserve does nothing here and Erase detaches, so the bytes land in a fresh body sized by
    // the growth policy; built aside so that a failure leaves this buffer as it was. (A shared
    // body with nothing in it is not detached by Erase: the first Append copies it with its
    // room, below.)
    AutoBuffer fresh;
    fresh.Append(a, na);
    fresh.Append(b, nb);
    swap(fresh);
    return;
  }
  Reserve(total);  // the only step below that can fail
  Erase();
  Append(a, na);
  Append(b, nb);
}

// ---- AutoBuffer: comparison

bool AutoBuffer::operator==(const AutoBuffer& other) const noexcept {
  return CompareBuffers(BufferWrapper(*this), BufferWrapper(other)) == 0;
}

bool AutoBuffer::operator<(const AutoBuffer& other) const noexcept {
  return CompareBuffers(BufferWrapper(*this), BufferWrapper(other)) == -1;
}

// ---- AutoBuffer: flat record

void AutoBuffer::serialize(unsigned char*& pos, const unsigned char* end) const {
  const std::uint32_t len = Len();
  // len <= kMaxLen, so len + 4 cannot wrap even where size_t has 32 bits.
  if (!little_endian::detail::Fits(static_cast<std::size_t>(len) + 4u, pos, end)) {
    throw exception::BufferOverflow("AutoBuffer", 368);
  }
  unsigned char* out = pos;
  little_endian::SerializeRaw<std::uint32_t>(len, out, end);
  if (len != 0) std::memcpy(out, guts_->begin_, len);
  pos = out + len;
}

void AutoBuffer::deserialize(const unsigned char*& pos, const unsigned char* end) {
  if (!little_endian::detail::Fits(4, pos, end)) {
    throw exception::DeserializationError("AutoBuffer", 387);
  }
  const unsigned char* data = pos;
  std::uint32_t len = 0;
  little_endian::DeserializeRaw(len, data, end);
  if (!little_endian::detail::Fits(len, data, end)) {
    throw exception::DeserializationError("AutoBuffer", 393);
  }
  Replace(data, len, nullptr, 0);
  pos = data + len;
}

// ---- AutoBuffer: ring record

namespace {

// Ring size, 0 for a reversed range.
std::size_t RingSize(const unsigned char* ringBegin, const unsigned char* ringEnd) {
  return ringBegin <= ringEnd ? static_cast<std::size_t>(ringEnd - ringBegin) : 0;
}

void CheckCursorInRing(const unsigned char* ringBegin, const unsigned char* ringEnd,
                       const unsigned char* pos) {
  const std::less<const unsigned char*> before;
  if (before(pos, ringBegin) || !before(pos, ringEnd)) {
    throw exception::InvalidArgument(ZO_KEL_HERE);
  }
}

}  // namespace

void AutoBuffer::circularSerializeLength(unsigned char* ringBegin, const unsigned char* ringEnd,
                                         unsigned char*& pos) const noexcept {
  std::uint32_t len = Len();
  for (int i = 0; i < 4; ++i) {
    *pos = static_cast<unsigned char>(len & 0xFFu);
    len >>= 8;
    circularIncrement(ringBegin, ringEnd, pos);
  }
}

void AutoBuffer::circularSerialize(unsigned char* ringBegin, const unsigned char* ringEnd,
                                   unsigned char*& pos) const {
  const std::uint32_t len = Len();
  const std::uint64_t record = static_cast<std::uint64_t>(len) + 4u;
  if (record > RingSize(ringBegin, ringEnd)) throw exception::BufferOverflow("AutoBuffer", 446);
  CheckCursorInRing(ringBegin, ringEnd, pos);

  if (record <= static_cast<std::size_t>(ringEnd - pos)) {
    serialize(pos, ringEnd);
    if (pos == ringEnd) pos = ringBegin;
    return;
  }
  circularSerializeLength(ringBegin, ringEnd, pos);
  if (len == 0) return;
  const std::size_t avail = static_cast<std::size_t>(ringEnd - pos);
  const unsigned char* data = guts_->begin_;
  if (len > avail) {
    std::memcpy(pos, data, avail);
    std::memcpy(ringBegin, data + avail, len - avail);
    pos = ringBegin + (len - avail);
  } else {
    std::memcpy(pos, data, len);
    pos += len;
    if (pos == ringEnd) pos = ringBegin;
  }
}

void AutoBuffer::circularDeserialize(const unsigned char* ringBegin, const unsigned char* ringEnd,
                                     const unsigned char*& pos) {
  const std::size_t ringSize = RingSize(ringBegin, ringEnd);
  if (ringSize < 4) throw exception::DeserializationError("AutoBuffer", 487);
  CheckCursorInRing(ringBegin, ringEnd, pos);

  std::uint32_t len = 0;
  for (int i = 0; i < 4; ++i) {
    len |= static_cast<std::uint32_t>(*pos) << (8 * i);
    circularIncrement(ringBegin, ringEnd, pos);
  }
  // Deliberately after the length field was consumed: the cursor stays past it.
  if (static_cast<std::uint64_t>(len) + 4u > ringSize) {
    throw exception::DeserializationError("AutoBuffer", 509);
  }
  const std::size_t avail = static_cast<std::size_t>(ringEnd - pos);
  if (len > avail) {
    const std::uint32_t head = static_cast<std::uint32_t>(avail);
    Replace(pos, head, ringBegin, len - head);
    pos = ringBegin + (len - head);
  } else {
    Replace(pos, len, nullptr, 0);
    pos += len;
    if (pos == ringEnd) pos = ringBegin;
  }
}

}  // namespace kel
}  // namespace zo
