// Uses the installed library through its umbrella header only.
#include <cstdio>

#include "zo_kel_basics.h"

int main() {
  try {
    unsigned char buf[2];
    unsigned char* pos = buf;
    zo::kel::little_endian::SerializeRaw<std::uint32_t>(1, pos, buf + sizeof buf);
  } catch (const zo::kel::exception::BufferOverflow& e) {
    std::printf("consumer: caught \"%s\" (code %d)\n", e.what(), e.getErrorCode());
    return 0;
  }
  std::printf("consumer: no exception\n");
  return 1;
}
