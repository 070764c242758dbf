// Uses the installed library through its umbrella header only: a value round trip through its
// size-prefixed byte image, and an error raised across the library boundary.
#include <cstdio>

#include "zo_kel_basics.h"

int main() {
  VarData settings = VarData::dict();
  settings["setpoint"] = 3.5;
  zo::kel::AutoBuffer buffer;
  settings.SerializeWithSize(buffer);
  const unsigned char* cursor = buffer.Data();
  const VarData back = VarData::DeserializeWithSize(cursor, buffer.Len());
  if (back.Compare(settings) != 0 || cursor != buffer.Data() + buffer.Len()) {
    std::printf("consumer: round trip changed the value\n");
    return 1;
  }
  try {
    unsigned char buf[2];
    unsigned char* pos = buf;
    zo::kel::little_endian::SerializeRaw<std::uint32_t>(1, pos, buf + sizeof buf);
  } catch (const zo::kel::exception::BufferOverflow& e) {
    std::printf("consumer: %u-byte image read back; caught \"%s\" (code %d)\n", buffer.Len(),
                e.what(), e.getErrorCode());
    return 0;
  }
  std::printf("consumer: no exception\n");
  return 1;
}
