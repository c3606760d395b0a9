#include "controls/host_object.h"

#include <oleauto.h>

#include "controls/variants.h"

namespace ulix::controls {
namespace {

// What an object raised, as a code; its texts are let go of.
HRESULT CodeOfException(EXCEPINFO& raised) {
  if (raised.pfnDeferredFillIn) raised.pfnDeferredFillIn(&raised);
  SysFreeString(raised.bstrSource);
  SysFreeString(raised.bstrDescription);
  SysFreeString(raised.bstrHelpFile);
  return FAILED(raised.scode) ? raised.scode : DISP_E_EXCEPTION;
}

}  // namespace

HRESULT CallSetPoint(IDispatch& object, std::uint32_t address, float degrees) {
  wchar_t name[] = L"SetPoint";
  LPOLESTR names[] = {name};
  DISPID member = 0;
  const HRESULT found = object.GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &member);
  if (FAILED(found)) return found;
  VARIANT arguments[2];  // the last one first
  V_VT(&arguments[0]) = VT_R4;
  V_R4(&arguments[0]) = degrees;
  V_VT(&arguments[1]) = VT_I4;
  V_I4(&arguments[1]) = static_cast<LONG>(address);
  DISPPARAMS parameters{arguments, nullptr, 2, 0};
  OwnedVariant answer;
  EXCEPINFO raised{};
  const HRESULT result = object.Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters,
                                       answer.get(), &raised, nullptr);
  return result == DISP_E_EXCEPTION ? CodeOfException(raised) : result;
}

}  // namespace ulix::controls
