#include "links/lock_problem.h"

namespace ulix {

std::string Described(const platform::LockProblem& problem, Language language) {
  using enum platform::LockProblem::Cause;
  const std::string holder = std::to_string(problem.holder);
  switch (problem.cause) {
    case kNone:
      return {};
    case kHeld:
      if (problem.holder > 0) return Localized(TextId::kLockHeldBy, language, {problem.object, holder});
      return Localized(TextId::kLockHeld, language, {problem.object});
    case kHolderGone:
      return Localized(TextId::kLockLeftBehind, language, {problem.object, holder});
    case kNoPermission:
      return Localized(TextId::kLockNoPermission, language, {problem.object});
    case kForeign:
      return Localized(TextId::kLockForeign, language, {problem.object});
    case kNoRoom:
      return Localized(TextId::kLockNoRoom, language, {problem.object});
    case kSystem:
      return Localized(TextId::kLockSystem, language, {problem.object, std::to_string(problem.os_error)});
  }
  return {};
}

}  // namespace ulix
