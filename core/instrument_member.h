// Helpers with which the members of Instrument are written. Only the files that implement them include this header.
#pragma once

#include <new>

#include "core/acq_group.h"
#include "core/instrument.h"

namespace ulix {

template <typename Body>
HRESULT Instrument::Member(Body&& body) {
  const HRESULT result = Guarded(std::forward<Body>(body));
  if (Failed(result)) DescribeFailure(result);
  return result;
}

// Runs a body and turns an exception into a code.
template <typename Body>
HRESULT Instrument::Guarded(Body&& body) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return card().exception_code;
  }
}

template <typename Body>
HRESULT Instrument::WithGroup(std::uint32_t id, Body&& body) {
  const auto group = FindGroup(id);
  return group ? body(*group) : E_INVALIDARG;
}

// A driver may correct its settings while this lives, for example an address out of range. Marks the instrument dirty
// when it did.
class Instrument::SettingsWatch {
 public:
  explicit SettingsWatch(Instrument& instrument) : instrument_(instrument), before_(instrument.settings().Current()) {}
  ~SettingsWatch() {
    if (instrument_.settings().Current() != before_) instrument_.MarkDirty();
  }
  SettingsWatch(const SettingsWatch&) = delete;
  SettingsWatch& operator=(const SettingsWatch&) = delete;

 private:
  Instrument& instrument_;
  const std::shared_ptr<const std::vector<StoredValue>> before_;
};

// Runs a member that needs the connection.
template <typename Act>
HRESULT Instrument::WhenConnected(Act&& act) {
  return Member([&]() -> HRESULT { return connected_ ? act() : E_UNEXPECTED; });
}

template <typename Ask>
HRESULT Instrument::AskUser(std::int32_t* result, Ask&& ask) {
  return Member([&]() -> HRESULT {
    if (!result) return E_INVALIDARG;
    UserInterface* ui = options_.user_interface;
    *result = static_cast<std::int32_t>(ui ? ask(*ui) : DialogResult::kCancel);
    return S_OK;
  });
}

template <typename... Pointers>
bool AnyNull(Pointers*... pointers) {
  return ((pointers == nullptr) || ...);
}

// The body of a member that only gives a value.
template <typename T, typename U>
HRESULT Give(T* place, U&& answer) {
  if (!place) return E_INVALIDARG;
  *place = static_cast<T>(std::forward<U>(answer));
  return S_OK;
}

}  // namespace ulix
