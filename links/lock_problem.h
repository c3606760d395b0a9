// Why the machine-wide lock of serial traffic was not obtained, as a text.
#pragma once

#include <string>

#include "platform/named_mutex.h"
#include "resources/texts.h"

namespace ulix {

// Object, cause, and what the user can do, in Windows-1252; empty where the lock was obtained.
std::string Described(const platform::LockProblem& problem, Language language);

}  // namespace ulix
