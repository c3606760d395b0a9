// The one enumeration of every published error code of the library: the build puts it together from each room's
// error_codes.def.
#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>

namespace ulix {

// 32 bits; the same type as the system's HRESULT where it has one.
using HRESULT = std::conditional_t<sizeof(long) == 4, long, std::int32_t>;

enum ErrorConstants : HRESULT {
#define ULIX_ERROR_CODE(name, value) name = static_cast<HRESULT>(value##U),
#include "generated/error_codes.def"
#undef ULIX_ERROR_CODE
};

// The enumerator of a published code, such as "kelvo10CtlErrNotKelvo10"; empty for any other code.
std::string_view ErrorCodeName(HRESULT code);

}  // namespace ulix
