// zo-kel encode: the JSON of `zo-kel decode --json` (or a bare value) back to bytes.
#include <cstring>

#include "Bytes.h"
#include "Commands.h"
#include "PacketTree.h"
#include "TGVariantPair.h"
#include "VarDataJson.h"
#include "kel/AutoBuffer.h"
#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

namespace {

using json = nlohmann::ordered_json;

const char kHelp[] =
    "usage: zo-kel encode [--hex] [--full | --sized] [-o FILE] [FILE]\n"
    "\n"
    "Reads JSON from FILE (standard input when FILE is absent or \"-\") and writes the byte\n"
    "image it describes: the document `zo-kel decode --json` prints (its \"form\" decides the\n"
    "image), or one bare value such as {\"kind\": \"numeric\", \"value\": 3.5}, written in the\n"
    "compact form, the full form (--full) or as one size-prefixed record (--sized).\n"
    "A TG variant pair (form \"tgvariant\") is flattened from its value by the library and\n"
    "written as two images: with --hex the descriptor line, then the data line; in binary\n"
    "the descriptor to -o FILE and the data to --data-output FILE.\n"
    "\n"
    "options:\n"
    "  --hex        write hex text (one line per image or record) instead of binary\n"
    "  -o, --output FILE   write to FILE instead of standard output\n"
    "  --data-output FILE  where a TG variant pair's data goes in binary\n"
    "\n"
    "Errors name the place in the document (\"value.entries[1].key\") or the byte offset of\n"
    "a JSON syntax error, and what is wrong (exit status 2).\n";

json ParseDocument(const Bytes& text) {
  try {
    return json::parse(text.begin(), text.end());
  } catch (const json::parse_error& e) {
    // nlohmann's text reads "[json.exception.parse_error.101] parse error at line 1, ...".
    const char* detail = std::strstr(e.what(), "] ");
    throw ToolError("JSON input: at offset " + std::to_string(e.byte == 0 ? 0 : e.byte - 1) + ": " +
                    (detail != nullptr ? detail + 2 : e.what()));
  }
}

std::string Lines(const std::vector<Bytes>& images) {
  std::string out;
  for (const Bytes& b : images) out += ToHex(b) + "\n";
  return out;
}

Bytes Value(const json& value, const std::string& path, bool compact) {
  const VarData v = ValueFromJson(value, path);
  zo::kel::AutoBuffer buffer;
  v.SerializeWithoutSize(buffer, compact);
  return Bytes(buffer.Data(), buffer.Data() + buffer.Len());
}

// One record: the 32-bit size, the compact value and any extra bytes the size also counts.
Bytes Record(const json& value, const std::string& path, const Bytes& extra) {
  const VarData v = ValueFromJson(value, path);
  zo::kel::AutoBuffer buffer;
  v.SerializeWithSize(buffer);
  Bytes record(buffer.Data(), buffer.Data() + buffer.Len());
  std::uint32_t size = static_cast<std::uint32_t>(record.size() - 4 + extra.size());
  for (int i = 0; i < 4; ++i) record[i] = static_cast<unsigned char>(size >> (8 * i));
  record.insert(record.end(), extra.begin(), extra.end());
  return record;
}

std::vector<Bytes> SizedRecords(const json& doc) {
  CheckMembers(doc, "form records", "document");
  const auto records = doc.find("records");
  if (records == doc.end() || !records->is_array()) {
    throw ToolError("document: expected a \"records\" array");
  }
  std::vector<Bytes> images;
  for (std::size_t i = 0; i < records->size(); ++i) {
    const json& r = (*records)[i];
    const std::string path = "records[" + std::to_string(i) + "]";
    CheckMembers(r, "value extra", path);
    if (!r.contains("value")) throw ToolError(path + ": missing member \"value\"");
    Bytes extra;
    if (r.contains("extra")) {
      if (!r.at("extra").is_string()) throw ToolError(path + ".extra: expected hex text");
      extra = ParseHex(r.at("extra").get<std::string>(), path + ".extra");
    }
    images.push_back(Record(r.at("value"), path + ".value", extra));
  }
  return images;
}

Bytes Packet(const json& doc) {
  CheckMembers(doc, "form packet type", "document");
  if (!doc.contains("packet") || !doc.at("packet").is_string()) {
    throw ToolError("document: expected a \"packet\" member of hex text");
  }
  const Bytes bytes = ParseHex(doc.at("packet").get<std::string>(), "packet");
  ReadPacketImage(bytes.data(), bytes.data() + bytes.size(), "packet");
  return bytes;
}

std::vector<Bytes> Encode(const json& doc, bool full, bool sized) {
  if (!doc.is_object()) throw ToolError("document: expected a JSON object");
  if (!doc.contains("form")) {  // a bare value
    if (sized) return {Record(doc, "value", Bytes())};
    return {Value(doc, "value", !full)};
  }
  const json& form = doc.at("form");
  const std::string name = form.is_string() ? form.get<std::string>() : form.dump();
  if (full || sized) {
    throw ToolError("--full and --sized apply to a bare value; this document's form is " + name);
  }
  if (name == "compact" || name == "full") {
    CheckMembers(doc, "form value", "document");
    if (!doc.contains("value")) throw ToolError("document: missing member \"value\"");
    return {Value(doc.at("value"), "value", name == "compact")};
  }
  if (name == "sized") return SizedRecords(doc);
  if (name == "flexdata") return {Packet(doc)};
  if (name == "tgvariant") {
    TGPair pair = TGPairFromJson(doc);
    return {WordsToBytes(pair.words), std::move(pair.data)};
  }
  throw ToolError("document: unknown form " + form.dump() +
                  " (compact, full, sized, flexdata or tgvariant)");
}

int Run(Args& args) {
  const bool hex = args.flag("--hex");
  const bool full = args.flag("--full");
  const bool sized = args.flag("--sized");
  std::optional<std::string> output = args.option("--output");
  if (std::optional<std::string> o = args.option("-o")) {
    if (output) throw ToolError("give -o or --output, not both");
    output = o;
  }
  const std::optional<std::string> dataOutput = args.option("--data-output");
  if (full && sized) throw ToolError("give at most one of --full, --sized");
  const std::vector<std::string> files = args.finish(0, 1);
  const json doc = ParseDocument(ReadInput(files.empty() ? "-" : files[0]));
  const std::vector<Bytes> images = Encode(doc, full, sized);
  const std::string to = output ? *output : "-";
  const bool pair = doc.value("form", json()) == "tgvariant";
  if (dataOutput && (!pair || hex))
    throw ToolError("--data-output is for a binary TG variant pair");
  if (pair && !hex && !dataOutput) {
    throw ToolError(
        "a TG variant pair is two images: give -o DESCRIPTOR --data-output DATA, or --hex");
  }
  if (pair && !hex) {
    WriteOutput(to, images[0]);
    WriteOutput(*dataOutput, images[1]);
  } else if (hex) {
    WriteOutput(to, Lines(images));
  } else {
    Bytes all;
    for (const Bytes& b : images) all.insert(all.end(), b.begin(), b.end());
    WriteOutput(to, all);
  }
  return 0;
}

}  // namespace

const Command kEncodeCommand = {"encode", "build a byte image from its JSON", kHelp, Run};

}  // namespace zokel_tool
