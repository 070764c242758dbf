// The transitions of the table-driven text scanners and the builders their tables are written
// with; not part of the public interface.
#ifndef ZO_KEL_QMSTATIC_TEXT_SCANSTEP_IMPL_H
#define ZO_KEL_QMSTATIC_TEXT_SCANSTEP_IMPL_H

#include <cstdint>

namespace zo {
namespace kel {
namespace detail {

/// The next state that ends a scan with a failure.
constexpr std::int8_t kScanFail = -1;

/// One transition: what to do with the character, then the next state. Action 0 does nothing.
template <typename Action>
struct ScanStep {
  Action action;
  std::int8_t next;
};

/// Do(action, next): act on the character, then move to `next`.
template <typename Action>
constexpr ScanStep<Action> Do(Action action, int next) {
  return ScanStep<Action>{action, static_cast<std::int8_t>(next)};
}

/// Go(next): move to `next` without acting; Go(kScanFail) fails.
struct Go {
  constexpr explicit Go(int state) : next(state) {}
  // Implicit, so that table rows mix Go and Do steps.
  template <typename Action>
  constexpr operator ScanStep<Action>() const {
    return ScanStep<Action>{Action{}, static_cast<std::int8_t>(next)};
  }
  int next;
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_QMSTATIC_TEXT_SCANSTEP_IMPL_H
