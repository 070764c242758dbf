// Fuzz target: the flat and ring forms of an AutoBuffer record. A record read is written back to
// the same bytes at the same place; a failed read leaves the buffer as it was and the cursor
// where the form puts it.
#include <cstdint>
#include <cstring>

#include "FuzzCheck.h"
#include "kel/AutoBuffer.h"
#include "kel/exception.h"

namespace {

using zo_kel_fuzz::Bytes;
using zo_kel_fuzz::ToBytes;

const unsigned char kSentinel[] = {'o', 'l', 'd'};

bool HoldsSentinel(const zo::kel::AutoBuffer& b) {
  return b.Len() == sizeof kSentinel && std::memcmp(b.Data(), kSentinel, sizeof kSentinel) == 0;
}

void CheckFlat(const std::uint8_t* data, std::size_t size) {
  const unsigned char* const end = data + size;
  const unsigned char* pos = data;
  zo::kel::AutoBuffer buffer(kSentinel, sizeof kSentinel);
  try {
    buffer.deserialize(pos, end);
  } catch (const zo::kel::exception::Exception&) {
    FUZZ_CHECK(pos == data && HoldsSentinel(buffer));
    return;
  }
  std::uint32_t length;
  std::memcpy(&length, data, 4);
  FUZZ_CHECK(buffer.Len() == length && pos == data + 4 + length);
  Bytes image(buffer.serializationSize());
  unsigned char* out = image.data();
  buffer.serialize(out, image.data() + image.size());
  FUZZ_CHECK(out == image.data() + image.size());
  FUZZ_CHECK(std::memcmp(image.data(), data, image.size()) == 0);
}

// The first input byte places the cursor; the rest is the ring.
void CheckRing(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return;
  const Bytes ring(data + 1, data + size);
  const std::size_t n = ring.size();
  const std::size_t start = data[0] % n;
  const unsigned char* pos = ring.data() + start;
  zo::kel::AutoBuffer buffer(kSentinel, sizeof kSentinel);
  auto at = [&](std::size_t i) { return ring[(start + i) % n]; };
  const std::uint32_t length = at(0) | at(1) << 8 | at(2) << 16 | std::uint32_t{at(3)} << 24;
  try {
    buffer.circularDeserialize(ring.data(), ring.data() + n, pos);
  } catch (const zo::kel::exception::Exception&) {
    FUZZ_CHECK(HoldsSentinel(buffer));
    // A ring too small for the length field leaves the cursor; a longer record has consumed it.
    FUZZ_CHECK(pos == ring.data() + (n < 4 ? start : (start + 4) % n));
    return;
  }
  FUZZ_CHECK(n >= 4 && length <= n - 4);
  FUZZ_CHECK(buffer.Len() == length);
  for (std::uint32_t i = 0; i < length; ++i) FUZZ_CHECK(buffer.Data()[i] == at(4 + i));
  FUZZ_CHECK(pos == ring.data() + (start + 4 + length) % n);

  Bytes written(n, 0);
  unsigned char* out = written.data() + start;
  buffer.circularSerialize(written.data(), written.data() + n, out);
  FUZZ_CHECK(out == pos - ring.data() + written.data());
  for (std::size_t i = 0; i < 4 + std::size_t{length}; ++i) {
    FUZZ_CHECK(written[(start + i) % n] == at(i));
  }
  // The flat form of the same record reads back to the same bytes.
  Bytes flat(buffer.serializationSize());
  unsigned char* flatOut = flat.data();
  buffer.serialize(flatOut, flat.data() + flat.size());
  const unsigned char* flatIn = flat.data();
  zo::kel::AutoBuffer copy;
  copy.deserialize(flatIn, flat.data() + flat.size());
  FUZZ_CHECK(copy == buffer && flatIn == flat.data() + flat.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CheckFlat(data, size);
  CheckRing(data, size);
  return 0;
}
