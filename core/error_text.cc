#include "core/error_text.h"

#include <algorithm>

#include "links/serial_errors.h"

namespace ulix {
namespace {

const ErrorRow* FindIn(std::span<const ErrorRow> rows, HRESULT code) {
  const auto row = std::find_if(rows.begin(), rows.end(), [code](const ErrorRow& r) { return r.code == code; });
  return row == rows.end() ? nullptr : &*row;
}

}  // namespace

const ErrorRow* FindErrorText(const Driver& driver, HRESULT code) {
  // A server fault during an exchange is a failed read for the user, on any link.
  if (code == RPC_E_SERVERFAULT) return FindIn(SerialErrorTexts(), serialCommErrUnableToReadComm);
  if (const ErrorRow* own = FindIn(driver.card().errors, code)) return own;
  return FindIn(driver.link().errors(), code);
}

}  // namespace ulix
