// The byte view's record form and the byte order of buffers.
#include "kel/BufferWrapper.h"

#include <cstring>

#include "kel/exception.h"
#include "kel/little_endian.h"

namespace zo {
namespace kel {

int CompareBuffers(const BufferWrapper& a, const BufferWrapper& b) noexcept {
  const std::uint32_t common = a.Len() < b.Len() ? a.Len() : b.Len();
  if (common != 0) {
    const int order = std::memcmp(a.Data(), b.Data(), common);
    if (order != 0) return order < 0 ? -1 : 1;
  }
  if (a.Len() == b.Len()) return 0;
  return a.Len() < b.Len() ? -1 : 1;
}

bool BufferWrapper::operator==(const BufferWrapper& other) const noexcept {
  return CompareBuffers(*this, other) == 0;
}

bool BufferWrapper::operator<(const BufferWrapper& other) const noexcept {
  return CompareBuffers(*this, other) == -1;
}

void BufferWrapper::serialize(unsigned char*& pos, const unsigned char* end) const {
  little_endian::CheckSerializationSize(static_cast<std::size_t>(length_) + 4u, pos, end);
  unsigned char* out = pos;
  little_endian::SerializeRaw<std::uint32_t>(length_, out, end);
  if (length_ != 0) std::memcpy(out, data_, length_);
  pos = out + length_;
}

void BufferWrapper::deserialize(const unsigned char*& pos, const unsigned char* end) {
  if (!little_endian::detail::Fits(4, pos, end)) {
    throw exception::DeserializationError("BufferWrapper", 72);
  }
  const unsigned char* data = pos;
  std::uint32_t length = 0;
  little_endian::DeserializeRaw(length, data, end);
  if (!little_endian::detail::Fits(length, data, end)) {
    throw exception::DeserializationError("BufferWrapper", 78);
  }
  data_ = data;
  length_ = length;
  pos = data + length;
}

}  // namespace kel
}  // namespace zo
