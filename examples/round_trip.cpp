// The library's typical round trip: a number stored under a text key in a dictionary, sent as a
// size-prefixed byte image, read back by the receiver, shown in a display format and flattened
// into a TG cluster. Each step prints what it made.
#include <cstdio>
#include <string>
#include <vector>

#include "zo_kel_basics.h"

namespace {

std::string Narrow(const zo::kel::WString& text) {
  const zo::kel::AString narrow(text);
  return std::string(narrow.c_str(), narrow.size());
}

void PrintBytes(const char* title, const unsigned char* data, std::uint32_t n) {
  std::printf("%s (%lu bytes):", title, static_cast<unsigned long>(n));
  for (std::uint32_t i = 0; i < n; ++i) std::printf(" %02X", data[i]);
  std::printf("\n");
}

}  // namespace

int main() {
  // 1. A number: kind numeric (3), qualifier 0 (it came from a double).
  const VarData pressure = 3.5;
  std::printf("1. value: kind %u, qualifier %u, %s\n", pressure.getKind(), pressure.getQualifier(),
              Narrow(PrintValue(pressure)).c_str());

  // 2. Stored under a text key in a dictionary.
  VarData reading = VarData::dict();
  reading.setValue("pressure", pressure);
  std::printf("2. dictionary: %s\n", Narrow(PrintValue(reading)).c_str());

  // 3. Serialized with its size prefix (always the compact form) into an AutoBuffer: these are
  //    the bytes that travel between processes.
  zo::kel::AutoBuffer wire;
  reading.SerializeWithSize(wire);
  PrintBytes("3. sent", wire.Data(), wire.Len());

  // 4. The receiver reads the record back; a damaged record would give an empty value and be
  //    skipped, so the cursor always moves on to the next record.
  const unsigned char* cursor = wire.Data();
  const VarData received = VarData::DeserializeWithSize(cursor, wire.Len());
  std::printf("4. received: %s, %s the dictionary sent, %lu bytes consumed\n",
              Narrow(PrintValue(received)).c_str(),
              received == reading ? "equal to" : "NOT equal to",
              static_cast<unsigned long>(cursor - wire.Data()));

  // 5. The entry shown for an operator display in the format called "0.00".
  short format = 0;
  IsFormat0("0.00", &format);
  zo::kel::AString shown;
  NumberToText(static_cast<double>(received["pressure"]), format, shown);
  std::printf("5. display (format %d, \"0.00\"): %s\n", format, shown.c_str());

  // 6. Flattened into a TG cluster: a type descriptor of 16-bit words (each key labels its
  //    element) and the data, every number big-endian. The first call sizes the two buffers.
  const zo::kel::AString noName;
  std::uint32_t wordCount = 0, byteCount = 0;
  bry::VarDataToTGVariantLength(received, noName, bry::kDictionaryAsCluster, wordCount, byteCount);
  std::vector<unsigned short> words(wordCount);
  std::vector<unsigned char> data(byteCount);
  bry::VarDataToTGVariant(received, noName, bry::kDictionaryAsCluster, words.data(),
                          words.data() + wordCount, data.data(), data.data() + byteCount);
  std::printf("6. TG cluster descriptor (%lu words):", static_cast<unsigned long>(wordCount));
  for (unsigned short w : words) std::printf(" %04X", w);
  std::printf("\n");
  PrintBytes("   TG cluster data", data.data(), byteCount);

  // 7. And back: the cluster's labels become the dictionary's keys again.
  zo::kel::AString name;
  const VarData unflattened =
      bry::TGVariantToVarData(words.data(), words.data() + wordCount, data.data(),
                              data.data() + byteCount, bry::kDictionaryAsCluster, name, false);
  std::printf("7. read from the cluster: %s, %s the dictionary sent\n",
              Narrow(PrintValue(unflattened)).c_str(),
              unflattened == reading ? "equal to" : "NOT equal to");

  return received == reading && unflattened == reading ? 0 : 1;
}
