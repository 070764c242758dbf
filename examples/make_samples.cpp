// Writes the sample byte images of examples/samples/ into the folder given as argument: a few
// values in each form, built with the library's own API.
//
//   <name>.compact.bin  one VarData, compact form     <name>.full.bin    one VarData, full form
//   <name>.sized.bin    size-prefixed records          <name>.packet.bin  one FlexData packet
//   <name>.tgdesc.bin   a TG variant pair's descriptor, each word two bytes big-endian, beside
//   <name>.tgdata.bin   its data
#include <cstdio>
#include <string>
#include <vector>

#include "zo_kel_basics.h"

namespace {

using zo::kel::AbsTime;
using zo::kel::AutoBuffer;
using zo::kel::FlexData;
using zo::kel::fd::FlexType;

std::string g_folder;

bool Write(const std::string& name, const unsigned char* data, std::uint32_t n) {
  const std::string path = g_folder + "/" + name;
  std::FILE* f = std::fopen(path.c_str(), "wb");
  const bool ok = f != nullptr && std::fwrite(data, 1, n, f) == n;
  if (f != nullptr && std::fclose(f) != 0) return false;
  if (!ok) std::fprintf(stderr, "make_samples: cannot write %s\n", path.c_str());
  return ok;
}

bool WriteValue(const std::string& name, const VarData& v, bool compact) {
  AutoBuffer image;
  v.SerializeWithoutSize(image, compact);
  return Write(name + (compact ? ".compact.bin" : ".full.bin"), image.Data(), image.Len());
}

bool WritePacket(const std::string& name, const FlexData& packet) {
  return Write(name + ".packet.bin", packet.data(), packet.size());
}

// A reading from a pump: the dictionary of the library's typical round trip, grown a little.
VarData Reading() {
  VarData reading = VarData::dict();
  reading.setValue("pressure", 3.5);
  VarData flow;
  flow.SetElement(0, VarData::num(12, VarData::kInt16));
  flow.SetElement(1, VarData::num(-3, VarData::kInt16));
  flow.SetElement(2, VarData::num(40000, VarData::kUInt16));
  reading.setValue("flow", flow);
  reading.setValue("label", L"Pump \u00C51");
  reading.setValue("since", AbsTime(3816000000.0, 0.25));  // 2024-12-02 16:00:00.25 UTC
  reading.setValue("alarms", VarData::bitArray(0x15));
  return reading;
}

// Text, bytes, cells and the other kinds that live in guts.
VarData Texts() {
  VarData texts;
  const unsigned char bytes[] = {0x00, 0x01, 0xFE, 0xFF};
  texts.SetElement(0, "abc");
  texts.SetElement(1, L"\u00E9t\u00E9");
  texts.SetElement(2, VarData(bytes, sizeof bytes));
  texts.SetElement(3, VarData(2, 5, VarData("cell text")));
  texts.SetElement(4, zo::kel::RelTime(1.5, 0));
  FlexData packet;
  packet.setI32(7);
  texts.SetElement(5, packet);
  const unsigned short words[] = {0x0006, 0x4021, 0x0178};  // a logical labelled "x"
  const unsigned char flag[] = {0x01};
  texts.SetElement(6, VarData::tgvar(words, 3, flag, 1));
  return texts;
}

// The kinds whose payload differs between the full and the compact form.
VarData Scalars() {
  VarData scalars;
  VarData pointer, id;
  pointer.setVoidPointer(reinterpret_cast<void*>(0x0804A000));
  id.setID64(0x0123456789ABCDEFull);
  scalars.SetElement(0, true);
  scalars.SetElement(1, VarData(0));
  scalars.SetElement(1, VarData());  // an empty element: stored over a placeholder
  scalars.SetElement(2, VarData::pulse());
  scalars.SetElement(3, VarData::brake());
  scalars.SetElement(4, pointer);
  scalars.SetElement(5, id);
  scalars.SetElement(6, VarData(3912345678900000000LL));  // nanoseconds since 1899-12-30
  return scalars;
}

bool WriteRecords() {
  AutoBuffer stream;
  VarData(true).SerializeWithSize(stream);
  VarData::num(7, VarData::kInt32).SerializeWithSize(stream);
  VarData("end of shift").SerializeWithSize(stream);
  Reading().SerializeWithSize(stream);
  return Write("records.sized.bin", stream.Data(), stream.Len());
}

bool WritePackets() {
  FlexData i32;
  i32.setI32(7);
  FlexData cluster, flag, count, name;
  flag.setBool(true);
  count.setI32(-2);
  name.setAString("MDT", 3);
  cluster.setCluster({flag, count, name});
  FlexData unit;
  unit.setAString("bar", 3);
  cluster.setAttribute("unit", unit);
  FlexData matrix;
  const std::int32_t dims[] = {2, 3};
  const short cells[] = {1, 2, 3, -4, -5, -6};
  matrix.setScalarArray(FlexType::I16, dims, 2, FlexType::I16, cells);
  FlexData waveform;
  const double samples[] = {0.5, 1.0, 1.5, 2.0};
  waveform.setWaveform(AbsTime(3816000000.0, 0.0), 0.001, FlexType::F64, FlexType::F64, samples, 4);
  return WritePacket("i32", i32) && WritePacket("cluster", cluster) &&
         WritePacket("matrix", matrix) && WritePacket("waveform", waveform);
}

// The dictionary of a reading flattened into a TG cluster: every key labels its element. Not
// Reading() itself: its flow array mixes 16-bit types, and a TG array has one element type.
bool WriteTGPair() {
  VarData reading = VarData::dict();
  reading.setValue("pressure", 3.5);
  VarData flow;
  flow.SetElement(0, VarData::num(12, VarData::kInt16));
  flow.SetElement(1, VarData::num(-3, VarData::kInt16));
  reading.setValue("flow", flow);
  reading.setValue("label", "Pump 1");
  reading.setValue("since", AbsTime(3816000000.0, 0.25));
  reading.setValue("running", true);
  std::uint32_t wordCount = 0, byteCount = 0;
  const zo::kel::AString noName;
  bry::VarDataToTGVariantLength(reading, noName, bry::kDictionaryAsCluster, wordCount, byteCount);
  std::vector<unsigned short> words(wordCount);
  std::vector<unsigned char> data(byteCount), descriptor;
  bry::VarDataToTGVariant(reading, noName, bry::kDictionaryAsCluster, words.data(),
                          words.data() + wordCount, data.data(), data.data() + byteCount);
  for (unsigned short w : words) {
    descriptor.push_back(static_cast<unsigned char>(w >> 8));
    descriptor.push_back(static_cast<unsigned char>(w));
  }
  return Write("reading.tgdesc.bin", descriptor.data(), 2 * wordCount) &&
         Write("reading.tgdata.bin", data.data(), byteCount);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_samples FOLDER\n");
    return 2;
  }
  g_folder = argv[1];
  const bool ok = WriteValue("reading", Reading(), true) && WriteValue("texts", Texts(), true) &&
                  WriteValue("scalars", Scalars(), true) &&
                  WriteValue("scalars", Scalars(), false) && WriteRecords() && WritePackets() &&
                  WriteTGPair();
  return ok ? 0 : 1;
}
