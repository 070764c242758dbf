// Writes the seed corpus of the TG variant target: values of every kind the codec carries,
// flattened in each dictionary mode that accepts them, in the target's input layout (see
// tgvariant_fuzzer.cpp). Usage: tgvariant_seeds <directory>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

#include "kel/exception.h"
#include "kel/time/AbsTime.h"
#include "qmstatic/tgvariant/TGVariant.h"
#include "qmstatic/vardata/VarData.h"

namespace {

VarData Numeric(double d, std::uint16_t qualifier) { return VarData::num(d, qualifier); }

VarData Array(std::initializer_list<VarData> elements) {
  VarData a;
  std::uint32_t i = 0;
  for (const VarData& e : elements) a.SetElement(i++, e);
  return a;
}

std::vector<VarData> Values() {
  std::vector<VarData> values{VarData(), VarData(true), VarData(-2.5), Numeric(-7, 1),
                              Numeric(-300, 2), Numeric(70000, 3), Numeric(200, 4),
                              Numeric(60000, 5), Numeric(4e9, 6), Numeric(1.5, 7),
                              VarData("text"), VarData(L"wide"), VarData(zo::kel::AbsTime(1.0e9, 0.25))};
  const VarData array = Array({VarData(0), VarData(1), VarData(2)});
  values.push_back(array);
  values.push_back(Array({VarData("a"), VarData("bc")}));
  VarData dict = VarData::dict();
  dict.setValue(VarData("x"), VarData(1));
  dict.setValue(VarData("name"), VarData("pump"));
  values.push_back(dict);
  VarData outer = VarData::dict();
  outer.setValue(VarData("inner"), dict);
  outer.setValue(VarData("list"), array);
  values.push_back(outer);
  values.push_back(VarData::dict());
  return values;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <directory>\n", argv[0]);
    return 2;
  }
  int written = 0;
  const auto values = Values();
  for (std::size_t i = 0; i < values.size(); ++i) {
    for (int mode = 0; mode < 3; ++mode) {
      for (const char* label : {"", "reading"}) {
        const zo::kel::AString name(label);
        std::uint32_t nw = 0;
        std::uint32_t nd = 0;
        try {
          bry::VarDataToTGVariantLength(values[i], name, bry::DictionaryConversion(mode), nw, nd);
        } catch (const zo::kel::exception::Exception&) {
          continue;
        }
        std::vector<unsigned short> words(nw);
        std::vector<unsigned char> bytes(nd);
        bry::VarDataToTGVariant(values[i], name, bry::DictionaryConversion(mode), words.data(),
                                words.data() + nw, bytes.data(), bytes.data() + nd);
        const std::string path = std::string(argv[1]) + "/value" + std::to_string(i) + "_mode" +
                                 std::to_string(mode) + (*label ? "_named" : "");
        std::FILE* f = std::fopen(path.c_str(), "wb");
        if (!f) {
          std::perror(path.c_str());
          return 1;
        }
        const unsigned char head[3] = {static_cast<unsigned char>(mode),
                                       static_cast<unsigned char>(nw & 0xFF),
                                       static_cast<unsigned char>(nw >> 8)};
        std::fwrite(head, 1, 3, f);
        std::fwrite(words.data(), 2, words.size(), f);
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
        ++written;
      }
    }
  }
  std::printf("%d seeds written to %s\n", written, argv[1]);
  return 0;
}
