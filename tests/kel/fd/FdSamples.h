// What the packet tests share: the names they use, the error codes, packet images (the fixed
// waveform blocks, a record, a waveform) and helpers that move packets between bytes and hex.
#ifndef ZO_KEL_TESTS_KEL_FD_FDSAMPLES_H
#define ZO_KEL_TESTS_KEL_FD_FDSAMPLES_H

#include <cstdint>
#include <string>

#include "kel/exception.h"
#include "kel/fd/FlexData.h"
#include "support/KelTest.h"

namespace zo_kel_test {
namespace fd_samples {

using zo::kel::FlexData;
using zo::kel::exception::BufferOverflow;
using zo::kel::exception::InvalidArgument;
using zo::kel::exception::SyntaxError;
using zo::kel::fd::FlexType;
using zo::kel::fd::TAEndian;
using zo_kel_test::Bytes;
using zo_kel_test::Hex;
using zo_kel_test::ToHex;

constexpr std::int32_t kSyntaxCode = -1967362044;
constexpr std::int32_t kInvalidArgumentCode = -1967362033;
constexpr std::int32_t kNotFoundCode = -1967362038;

inline std::string HexOf(const zo::kel::FlexData& f) { return ToHex(f.data(), f.size()); }
inline zo::kel::FlexData FromHex(const std::string& hex) {
  const Bytes b = Hex(hex);
  return zo::kel::FlexData(b.data(), b.data() + b.size());
}
inline zo::kel::FlexData I32(std::int32_t v) {
  zo::kel::FlexData f;
  f.setI32(v);
  return f;
}

inline const char kWaveformAttributes[] =
    "02 40 32 00 00 00 03 40 12 00 00 00 00 09 07 00 00 00 5F 5A 4F 5F 4D 44 54 00"
    "01 08 02 00 06 00 00 00 00 09 06 00 00 00 00 02 03 00 00 00 4D 44 54 00 03 00";
inline const char kWaveformTypeI16[] =
    "01 08 05 00 06 00 00 00 04 05 06 00 00 00 02 04 0E 00 00 00 00 08 01 00 06 00 00 00"
    "00 02"
    "1A 00 00 00 01 08 03 00 06 00 00 00 02 01 06 00 00 00 00 03 06 00 00 00 00 09"
    "06 00 00 00 02 09";
inline const char kWaveformSuffix[] = "00 00 00 00 00 00 00 00 00 00 0A 00 00 00 05 03 00 00 00 00";

// A cluster {Bool, 1-D array of AString, nested packet} holding {true, {"abc", "z"}, I32 7}.
inline const char kRecordPacket[] =
    "40 00 00 00"
    "01 08 03 00 06 00 00 00 02 01 0E 00 00 00 00 08 01 00 06 00 00 00 00 09"
    "06 00 00 00 02 09"
    "01 00 02 00 00 00 03 00 00 00 61 62 63 00 01 00 00 00 7A 00"
    "0A 00 00 00 00 03 07 00 00 00";

// A waveform of the I16 samples {1, -2, 3} starting at 1.5 s, 0.5 s apart.
inline std::string WaveformPacketHex() {
  return std::string("AC 00 00 00") + kWaveformAttributes + kWaveformTypeI16 +
         "00 00 00 00 00 00 00 80 01 00 00 00 00 00 00 00"  // start 1.5 s
         "00 00 00 00 00 00 E0 3F"                          // interval 0.5
         "03 00 00 00 01 00 FE FF 03 00" +
         kWaveformSuffix;
}

}  // namespace fd_samples
}  // namespace zo_kel_test

#endif  // ZO_KEL_TESTS_KEL_FD_FDSAMPLES_H
