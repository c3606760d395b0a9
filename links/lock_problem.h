// The text for users that says why the machine-wide lock of serial traffic was not obtained.
#pragma once

#include <string>

#include "platform/named_mutex.h"
#include "resources/texts.h"

namespace ulix {

// Names the lock's system object, the cause, and what the user can do, in Windows-1252. Empty if the lock was obtained.
std::string Described(const platform::LockProblem& problem, Language language);

}  // namespace ulix
