#include "platform/named_mutex.h"

namespace ulix::platform {

std::string LockProblem::Describe() const {
  const std::string process = "process " + std::to_string(holder);
  switch (cause) {
    case Cause::kNone:
      return {};
    case Cause::kHeld:
      return object + " is held" + (holder > 0 ? " by " + process : "");
    case Cause::kHolderGone:
      return object + " was left behind by " + process + "; remove it";
    case Cause::kNoPermission:
      return object + " is not accessible to this user; its owner or root can remove it";
    case Cause::kForeign:
      return object + " was made by another program; remove it";
    case Cause::kNoRoom:
      return object + " cannot be made: the system has no more of them";
    case Cause::kSystem:
      return object + " cannot be had: system error " + std::to_string(os_error);
  }
  return {};
}

}  // namespace ulix::platform
