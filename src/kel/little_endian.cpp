// Out-of-line throws of the cursor primitives, recorded at their fixed places.
#include "kel/little_endian.h"

#include "kel/exception.h"

namespace zo {
namespace kel {
namespace little_endian {
namespace detail {

void ThrowSerializationSize() { throw exception::BufferOverflow("little_endian", 111); }

void ThrowDeserializationSize() { throw exception::DeserializationError("little_endian", 124); }

}  // namespace detail
}  // namespace little_endian
}  // namespace kel
}  // namespace zo
