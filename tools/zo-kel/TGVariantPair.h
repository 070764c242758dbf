// TG variant pairs in zo-kel: the descriptor words and data bytes of one flattened value, read
// with the library's codec into a VarData and flattened back from one.
#ifndef ZO_KEL_TOOLS_TGVARIANTPAIR_H
#define ZO_KEL_TOOLS_TGVARIANTPAIR_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Bytes.h"
#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

/// A pair as it travels: the words in the machine's order, the data bytes as they are.
struct TGPair {
  std::vector<unsigned short> words;
  Bytes data;
};

/// What to read the pair as: dictionaries as clusters, as variants, or whichever reads (clusters
/// first); strings narrow or wide.
struct TGReadOptions {
  std::string dictionaries = "auto";  // "auto", "cluster" or "variant"
  bool wide = false;
};

/// The pair as the JSON document of `zo-kel decode --tgvariant --json`:
/// {"form": "tgvariant", "name": ..., "dictionaries": ..., "value": ...}.
/// ToolError "TG variant pair: " and the reader's reason when the pair does not read.
nlohmann::ordered_json TGPairToJson(const TGPair& pair, const TGReadOptions& options);

/// The readable tree of the pair: its words, data, name and the value they decode to.
std::string TGPairTree(const TGPair& pair, const TGReadOptions& options);

/// The pair the document describes, flattened by the library's writer; ToolError naming the
/// member that is wrong or the writer's reason.
TGPair TGPairFromJson(const nlohmann::ordered_json& doc);

/// Descriptor words from their bytes, each word two bytes big-endian; ToolError naming `what`
/// for an odd count.
std::vector<unsigned short> WordsFromBytes(const Bytes& bytes, const std::string& what);
/// The reverse: each word as two bytes, big-endian.
Bytes WordsToBytes(const std::vector<unsigned short>& words);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_TGVARIANTPAIR_H
