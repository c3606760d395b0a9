#include "controls/error_report.h"

#include <oleauto.h>

#include "controls/module.h"
#include "controls/variants.h"

namespace ulix::controls {

void ReportError(REFIID interface_id, const std::wstring& source, const std::string& description) {
  ComPtr<ICreateErrorInfo> created;
  ComPtr<IErrorInfo> info;
  if (FAILED(CreateErrorInfo(&created))) return;
  const BSTR text = BstrOf(description);
  created->SetGUID(interface_id);
  created->SetSource(const_cast<wchar_t*>(source.c_str()));
  if (text) created->SetDescription(text);
  SysFreeString(text);
  if (SUCCEEDED(created.As(&info))) SetErrorInfo(0, info.Get());
}

}  // namespace ulix::controls
