// Uses the installed library through its umbrella header only: a value round trip through its
// size-prefixed byte image, and an error raised across the library boundary; the headers' version
// matches the loaded library's.
#include <cstdio>
#include <cstring>

#include "zo_kel_basics.h"

int main() {
  // The headers found through the package belong to the library that was loaded.
  if (std::strcmp(zo::kel::LibraryVersion(), ZO_KEL_BASICS_VERSION_STRING) != 0) {
    std::printf("consumer: headers %s, loaded library %s\n", ZO_KEL_BASICS_VERSION_STRING,
                zo::kel::LibraryVersion());
    return 1;
  }
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
