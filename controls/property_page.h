// The property pages of the controls, for containers that show them in a frame of their own.
#pragma once

#include <ocidl.h>

#include <span>

#include "base/text.h"
#include "controls/module.h"
#include "core/instrument.h"
#include "forms/form.h"
#include "resources/texts.h"

namespace ulix::controls {

// A page and the class that shows it.
struct PageRow {
  const GUID& class_id;
  const wchar_t* class_title;
  TextId title;
  Form (*make)(Instrument& instrument, Language language);
};

std::span<const PageRow> PageTable();
// Null for a class that is no page.
const PageRow* FindPage(REFGUID class_id);

// A page with a reference for the caller. Throws std::bad_alloc.
IUnknown* NewPropertyPage(const PageRow& row);

}  // namespace ulix::controls
