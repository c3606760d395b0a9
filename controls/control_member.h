// Helpers for the members of Control. Only the files that implement them include this header.
#pragma once

#include <new>

#include "controls/control.h"
#include "controls/variants.h"

namespace ulix::controls {

// Keeps the control alive until the member ends, also when the host releases it inside an event.
template <typename Body>
HRESULT Control::Member(Body&& body) {
  const ComPtr<IUlixInstr> alive(this);
  try {
    return ReportIfFailed(body());
  } catch (const std::bad_alloc&) {
    return ReportIfFailed(E_OUTOFMEMORY);
  } catch (...) {
    return ReportIfFailed(instrument_->card().exception_code);
  }
}

// `ask` gets a pointer to store the answer. The pointer is null when the host gave none; the instrument refuses it.
template <typename Native, typename Place, typename Ask>
HRESULT Control::Answer(Place* place, Ask&& ask) {
  return Member([&] {
    Native native{};
    const HRESULT result = ask(place ? &native : nullptr);
    if (place) *place = SUCCEEDED(result) ? static_cast<Place>(native) : Place{};
    return result;
  });
}

template <typename Ask>
HRESULT Control::AnswerText(BSTR* place, Ask&& ask) {
  return Member([&]() -> HRESULT {
    if (place) *place = nullptr;
    std::string text;
    const HRESULT result = ask(place ? &text : nullptr);
    if (FAILED(result)) return result;
    *place = BstrOf(text);
    return *place ? S_OK : E_OUTOFMEMORY;
  });
}

template <typename Ask>
HRESULT Control::AnswerIds(VARIANT* place, Ask&& ask) {
  return Member([&]() -> HRESULT {
    if (place) VariantInit(place);
    std::vector<std::uint32_t> ids;
    const HRESULT result = ask(place ? &ids : nullptr);
    return FAILED(result) ? result : PutIds(ids, place);
  });
}

}  // namespace ulix::controls
