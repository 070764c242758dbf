// Where a TG variant pair stops reading: the pair walked word by word and byte by byte beside the
// library's codec, to name the descriptor word or data byte it refuses and why.
#ifndef ZO_KEL_TOOLS_TGPAIRWALK_H
#define ZO_KEL_TOOLS_TGPAIRWALK_H

#include <cstdint>
#include <string>

#include "TGVariantPair.h"

namespace zokel_tool {

/// The place and reason a pair does not read.
struct TGFailure {
  bool inData = false;     ///< the data input, else the descriptor input
  std::uint64_t byte = 0;  ///< the byte offset in that input
  std::string what;        ///< "descriptor word 3", "data for descriptor word 4", "data"
  std::string reason;      ///< why it does not read
};

/// Walks the pair as the codec reads it, dictionaries as variants or as clusters, with strings
/// narrow or wide. Returns true and fills `failure` at the first word or byte that does not
/// read; false when the walk finds nothing wrong.
bool FindTGFailure(const TGPair& pair, bool variants, bool wide, TGFailure& failure);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_TGPAIRWALK_H
