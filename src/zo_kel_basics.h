// zo_kel_basics: the one value type of the system and everything that moves and shows it.
// Including this header gives every public declaration of the library.
#ifndef ZO_KEL_BASICS_H
#define ZO_KEL_BASICS_H

#include "kel/AutoBuffer.h"
#include "kel/BufferWrapper.h"
#include "kel/DLLMalloc.h"
#include "kel/Limits.h"
#include "kel/StringBase.h"
#include "kel/Utf8.h"
#include "kel/Vector.h"
#include "kel/exception.h"
#include "kel/export.h"
#include "kel/fd/FlexData.h"
#include "kel/fd/NumericConversion.h"
#include "kel/fd/fd.h"
#include "kel/little_endian.h"
#include "kel/osdep/AbsTimeToString.h"
#include "kel/osdep/AnsiToWide.h"
#include "kel/osdep/AtomicInt.h"
#include "kel/osdep/CriticalSection.h"
#include "kel/osdep/IConv.h"
#include "kel/osdep/IntegerToString.h"
#include "kel/osdep/SerializeUtf16.h"
#include "kel/osdep/StringCaseCompare.h"
#include "kel/osdep/WideToAnsi.h"
#include "kel/time/AbsTime.h"
#include "kel/time/TimeConversions.h"
#include "kel/time/tFixedPoint128.h"
#include "qmstatic/text/DisplayFormat.h"
#include "qmstatic/text/LogicalText.h"
#include "qmstatic/text/NumberToText.h"
#include "qmstatic/text/TextScanner.h"

#include "qmstatic/vardata/Guid.h"
#include "qmstatic/vardata/IVarDataGuts.h"
#include "qmstatic/tgvariant/TGVariant.h"
#include "qmstatic/vardata/VarData.h"

#include "qmdynamic/VarDataFlexData.h"

#include "zo_kel_basics/version.h"

#endif  // ZO_KEL_BASICS_H
