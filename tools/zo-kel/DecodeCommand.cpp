// zo-kel decode: a byte image shown as a readable tree or as JSON.
#include <algorithm>

#include "Bytes.h"
#include "Commands.h"
#include "ImageLocate.h"
#include "PacketTree.h"
#include "TGVariantPair.h"
#include "ValueTree.h"
#include "VarDataJson.h"
#include "kel/AutoBuffer.h"
#include "kel/exception.h"
#include "kel/fd/FlexData.h"
#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

namespace {

using json = nlohmann::ordered_json;

const char kHelp[] =
    "usage: zo-kel decode [FORM] [--hex] [--json] [FILE]\n"
    "       zo-kel decode --tgvariant [--hex] [--json] [--dictionaries HOW] [--wide]\n"
    "                     DESCRIPTOR DATA\n"
    "\n"
    "Reads a byte image from FILE (standard input when FILE is absent or \"-\") and shows it\n"
    "as an indented tree, each line starting with the byte offset of its element, or with\n"
    "--json as JSON that `zo-kel encode` turns back into the same bytes.\n"
    "\n"
    "FORM is one of:\n"
    "  (none)       one VarData value in the compact form\n"
    "  --full       one VarData value in the full form\n"
    "  --sized      size-prefixed VarData records (compact), any number in a row\n"
    "  --flexdata   one FlexData packet\n"
    "  --tgvariant  one TG variant pair from two inputs: DESCRIPTOR, its 16-bit words each\n"
    "               two bytes big-endian, and DATA, the flattened data (one may be \"-\")\n"
    "\n"
    "options:\n"
    "  --hex        the input is hex text (\"05 10 00 00 ...\"; blanks and line breaks ignored)\n"
    "  --json       print JSON instead of the tree\n"
    "  --dictionaries cluster|variant\n"
    "               how the pair carries dictionaries (default: clusters, else variants)\n"
    "  --wide       read the pair's strings and keys as wide (unicode) text\n"
    "\n"
    "A value the reader keeps in a normal form (a logical byte above 1, a key given twice)\n"
    "is shown as read, with a note; its JSON encodes to the normal form.\n"
    "Errors name the form, the offset of the failing element and the reason (exit status 2).\n";

struct Input {
  Bytes bytes;
  const unsigned char* begin() const { return bytes.data(); }
  const unsigned char* end() const { return bytes.data() + bytes.size(); }
};

Input ReadImage(const std::string& path, bool hex) {
  Bytes raw = ReadInput(path);
  if (!hex) return Input{std::move(raw)};
  return Input{ParseHex(std::string(raw.begin(), raw.end()), "hex input")};
}

void Print(const std::string& text) { WriteOutput("-", text); }

std::string Offset(std::uint64_t n) { return "offset " + std::to_string(n); }

// A note when the bytes are not those the library writes for the value it read.
std::string NormalFormNote(const VarData& v, const unsigned char* image, std::size_t n,
                           bool compact) {
  zo::kel::AutoBuffer again;
  v.SerializeWithoutSize(again, compact);
  const std::size_t common = std::min<std::size_t>(n, again.Len());
  const auto diff = std::mismatch(image, image + common, again.Data()).first - image;
  if (static_cast<std::size_t>(diff) == n && n == again.Len()) return std::string();
  return "note: the value was read in its normal form, which differs from the image from " +
         Offset(static_cast<std::uint64_t>(diff)) + " on\n";
}

// Reads the one value at [p, end); ToolError naming the failing element.
VarData ReadValue(const Input& in, const unsigned char* p, const unsigned char*& end, bool compact,
                  const std::string& form) {
  VarData v;
  const unsigned char* cursor = p;
  try {
    v.deserializeImpl(cursor, end, compact);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    std::string where = LocateFailure(in.begin(), p, end, compact, 0);
    if (where.empty()) {
      where = "value at " + Offset(static_cast<std::uint64_t>(p - in.begin())) + ": " + e.what();
    }
    throw ToolError(form + ": " + where);
  }
  end = cursor;
  return v;
}

void DecodeValue(const Input& in, bool compact, bool asJson) {
  const std::string form = compact ? "compact value" : "full value";
  const unsigned char* valueEnd = in.end();
  const VarData v = ReadValue(in, in.begin(), valueEnd, compact, form);
  if (valueEnd != in.end()) {
    throw ToolError(form + ": " + BytesFollow(static_cast<std::uint64_t>(in.end() - valueEnd)) +
                    " the value, from " + Offset(valueEnd - in.begin()));
  }
  if (asJson) {
    const json doc = {{"form", compact ? "compact" : "full"}, {"value", ValueToJson(v)}};
    Print(doc.dump(2) + "\n");
    return;
  }
  std::string out = form + ", " + std::to_string(in.bytes.size()) + " bytes\n";
  AppendValueTree(out, v, compact, 0, 0, "");
  out += NormalFormNote(v, in.begin(), in.bytes.size(), compact);
  Print(out);
}

// Records: a 32-bit size s, then s bytes whose start is one compact value. The library skips
// to the end of the record whatever the value used; the bytes it skips are kept as "extra".
void DecodeSized(const Input& in, bool asJson) {
  json records = json::array();
  std::string tree;
  const unsigned char* p = in.begin();
  for (std::size_t index = 0; p != in.end(); ++index) {
    const std::string record = "sized stream: record " + std::to_string(index) + " at " +
                               Offset(static_cast<std::uint64_t>(p - in.begin()));
    const auto remaining = static_cast<std::size_t>(in.end() - p);
    if (remaining < 4) {
      throw ToolError(record + ": the stream ends inside its size prefix (" +
                      std::to_string(remaining) + " of 4 bytes)");
    }
    const std::uint32_t size = static_cast<std::uint32_t>(p[0] | p[1] << 8 | p[2] << 16) |
                               static_cast<std::uint32_t>(p[3]) << 24;
    if (size > remaining - 4) {
      throw ToolError(record + ": size " + std::to_string(size) + " runs past the end (" +
                      std::to_string(remaining - 4) + " bytes follow the prefix)");
    }
    const unsigned char* recordEnd = p + 4 + size;
    const unsigned char* valueEnd = in.end();  // the library reads against the outer limit
    const VarData v = ReadValue(in, p + 4, valueEnd, true, record);
    if (valueEnd > recordEnd) {
      throw ToolError(record + ": its value takes " + std::to_string(valueEnd - p - 4) +
                      " bytes, more than the record's size " + std::to_string(size));
    }
    json entry = {{"value", ValueToJson(v)}};
    AppendLine(tree, static_cast<std::uint64_t>(p - in.begin()), 0,
               "record " + std::to_string(index) + ", " + std::to_string(size) + " bytes");
    AppendValueTree(tree, v, true, static_cast<std::uint64_t>(p + 4 - in.begin()), 1, "");
    if (valueEnd != recordEnd) {
      entry["extra"] = ToHex(valueEnd, static_cast<std::size_t>(recordEnd - valueEnd));
      AppendLine(tree, static_cast<std::uint64_t>(valueEnd - in.begin()), 1,
                 "extra: " + ToHex(valueEnd, static_cast<std::size_t>(recordEnd - valueEnd)));
    }
    tree += NormalFormNote(v, p + 4, static_cast<std::size_t>(valueEnd - p - 4), true);
    records.push_back(std::move(entry));
    p = recordEnd;
  }
  if (asJson) {
    Print(json({{"form", "sized"}, {"records", std::move(records)}}).dump(2) + "\n");
  } else {
    Print("sized stream, " + std::to_string(in.bytes.size()) + " bytes, " +
          std::to_string(records.size()) + (records.size() == 1 ? " record\n" : " records\n") +
          tree);
  }
}

void DecodePacket(const Input& in, bool asJson) {
  const zo::kel::FlexData packet = ReadPacketImage(in.begin(), in.end(), "FlexData packet");
  if (asJson) {
    json doc = {{"form", "flexdata"}, {"packet", ToHex(in.bytes)}};
    if (!packet.isEmpty()) doc["type"] = FlexTypeName(static_cast<std::uint16_t>(packet.getType()));
    Print(doc.dump(2) + "\n");
    return;
  }
  std::string out = "FlexData packet, " + std::to_string(in.bytes.size()) + " bytes\n";
  if (packet.isEmpty()) {
    AppendLine(out, 0, 0, "empty (no packet)");
  } else {
    WalkPacket(&out, in.begin(), in.end(), 0, 0, "");
  }
  Print(out);
}

// The descriptor and the data of a pair, each from its own input.
void DecodeTGVariant(Args& args, bool hex, bool asJson) {
  TGReadOptions options;
  options.wide = args.flag("--wide");
  if (const std::optional<std::string> how = args.option("--dictionaries")) {
    if (*how != "cluster" && *how != "variant") {
      throw ToolError("--dictionaries must be cluster or variant, not \"" + *how + "\"");
    }
    options.dictionaries = *how;
  }
  const std::vector<std::string> files = args.finish(2, 2);
  if (files[0] == "-" && files[1] == "-") {
    throw ToolError("the descriptor and the data cannot both come from standard input");
  }
  TGPair pair;
  pair.words = WordsFromBytes(ReadImage(files[0], hex).bytes, "TG variant descriptor");
  pair.data = ReadImage(files[1], hex).bytes;
  Print(asJson ? TGPairToJson(pair, options).dump(2) + "\n" : TGPairTree(pair, options));
}

int Run(Args& args) {
  const bool full = args.flag("--full");
  const bool sized = args.flag("--sized");
  const bool flexdata = args.flag("--flexdata");
  const bool tgvariant = args.flag("--tgvariant");
  const bool hex = args.flag("--hex");
  const bool asJson = args.flag("--json");
  if (full + sized + flexdata + tgvariant > 1)
    throw ToolError("give at most one of --full, --sized, --flexdata, --tgvariant");
  if (tgvariant) {
    DecodeTGVariant(args, hex, asJson);
    return 0;
  }
  const std::vector<std::string> files = args.finish(0, 1);
  const Input in = ReadImage(files.empty() ? "-" : files[0], hex);
  if (sized) {
    DecodeSized(in, asJson);
  } else if (flexdata) {
    DecodePacket(in, asJson);
  } else {
    DecodeValue(in, !full, asJson);
  }
  return 0;
}

}  // namespace

const Command kDecodeCommand = {"decode", "show a byte image as a readable tree or as JSON", kHelp,
                                Run};

}  // namespace zokel_tool
