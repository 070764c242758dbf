// Fuzz target: the byte images of Vector (number elements) and of the three string instances,
// all read from the same bytes. What is read writes back to the bytes it came from (the wide
// string, whose UTF-8 may be written differently, to bytes that read back to the same text); a
// failed read leaves the object and the cursor as they were.
#include <algorithm>
#include <cstdint>

#include "FuzzCheck.h"
#include "kel/StringBase.h"
#include "kel/Vector.h"
#include "kel/exception.h"

namespace {

using zo_kel_fuzz::Bytes;

// Element by element: string order ignores case, and this must not.
template <class T>
bool Same(const T& a, const T& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
}

template <class T>
Bytes Image(const T& object) {
  Bytes image(object.serializationSize());
  unsigned char* out = image.data();
  object.serialize(out, image.data() + image.size());
  FUZZ_CHECK(out == image.data() + image.size());
  return image;
}

// Reads a T over `sentinel`; returns false (after checking nothing changed) when the read fails.
template <class T>
bool Read(const std::uint8_t* data, std::size_t size, const T& sentinel, T& read,
          const unsigned char*& pos) {
  read = sentinel;
  pos = data;
  try {
    read.deserialize(pos, data + size);
  } catch (const zo::kel::exception::Exception&) {
    FUZZ_CHECK(pos == data && Same(read, sentinel));
    return false;
  }
  FUZZ_CHECK(pos > data && pos <= data + size);
  return true;
}

// Vectors and narrow strings: the image read is exactly the image written.
template <class T>
void CheckExact(const std::uint8_t* data, std::size_t size, const T& sentinel) {
  T read;
  const unsigned char* pos = nullptr;
  if (!Read(data, size, sentinel, read, pos)) return;
  FUZZ_CHECK(Image(read) == Bytes(data, pos));
}

void CheckWide(const std::uint8_t* data, std::size_t size) {
  zo::kel::WString read;
  const unsigned char* pos = nullptr;
  if (!Read(data, size, zo::kel::WString(L"old"), read, pos)) return;
  const Bytes image = Image(read);
  zo::kel::WString again;
  const unsigned char* in = image.data();
  again.deserialize(in, image.data() + image.size());
  FUZZ_CHECK(in == image.data() + image.size());
  FUZZ_CHECK(Same(again, read));
  FUZZ_CHECK(Image(again) == image);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CheckExact(data, size, zo::kel::Vector<std::uint8_t>(3));
  CheckExact(data, size, zo::kel::Vector<std::uint16_t>(2));
  CheckExact(data, size, zo::kel::Vector<std::int32_t>(1));
  CheckExact(data, size, zo::kel::Vector<double>(1));
  CheckExact(data, size, zo::kel::AString("old"));
  CheckExact(data, size, zo::kel::AsciiString("old"));
  CheckWide(data, size);
  return 0;
}
