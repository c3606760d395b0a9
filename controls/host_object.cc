#include "controls/host_object.h"

#include <dispex.h>
#include <oleauto.h>
#include <wrl/client.h>

#include <memory>

#include "controls/variants.h"

namespace ulix::controls {
namespace {

// The code of the error that an object raised. Frees the texts of the error.
HRESULT CodeOfException(EXCEPINFO& raised) {
  if (raised.pfnDeferredFillIn) raised.pfnDeferredFillIn(&raised);
  SysFreeString(raised.bstrSource);
  SysFreeString(raised.bstrDescription);
  SysFreeString(raised.bstrHelpFile);
  return FAILED(raised.scode) ? raised.scode : DISP_E_EXCEPTION;
}

// Finds a member by name. The objects of some script engines support this only through IDispatchEx.
HRESULT FindMember(IDispatch& object, const wchar_t* name, DISPID* member) {
  const std::unique_ptr<OLECHAR, decltype(&SysFreeString)> text(SysAllocString(name), SysFreeString);
  if (!text) return E_OUTOFMEMORY;
  LPOLESTR names[] = {text.get()};
  const HRESULT found = object.GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, member);
  Microsoft::WRL::ComPtr<IDispatchEx> extended;
  if (found != E_NOTIMPL ||
      FAILED(object.QueryInterface(__uuidof(IDispatchEx), reinterpret_cast<void**>(extended.GetAddressOf()))))
    return found;
  return extended->GetDispID(text.get(), fdexNameCaseInsensitive, member);
}

}  // namespace

HRESULT CallSetPoint(IDispatch& object, std::uint32_t address, float degrees) {
  DISPID member = 0;
  const HRESULT found = FindMember(object, L"SetPoint", &member);
  if (FAILED(found)) return found;
  VARIANT arguments[2];  // in reverse order, as IDispatch requires
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
