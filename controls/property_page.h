// The property pages of the controls, for containers that show them in their own frame.
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
// The row of a class; null when the class is not a page.
const PageRow* FindPage(REFGUID class_id);

// Creates a page with one reference, which the caller owns. Throws std::bad_alloc.
IUnknown* NewPropertyPage(const PageRow& row);

}  // namespace ulix::controls
