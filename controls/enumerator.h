// The automation enumerators. Each enumerates a list that was copied when the enumerator was created.
#pragma once

#include <algorithm>
#include <vector>

#include "controls/single_interface.h"

namespace ulix::controls {

// `Interface` enumerates elements of type `Element`. `Traits::Give(item)` makes an element from a stored item and adds
// the references that the receiver will release.
template <typename Interface, typename Element, typename Item, typename Traits>
class Enumerator final : public SingleInterface<Interface> {
 public:
  explicit Enumerator(std::vector<Item> items, std::size_t at = 0) : items_(std::move(items)), at_(at) {}

  STDMETHODIMP Next(ULONG count, Element* elements, ULONG* fetched) override {
    if (!elements || (!fetched && count != 1)) return E_POINTER;
    ULONG given = 0;
    const HRESULT result = Guarded([&] {
      for (; given < count && at_ < items_.size(); ++given, ++at_) elements[given] = Traits::Give(items_[at_]);
      return given == count ? S_OK : S_FALSE;
    });
    if (fetched) *fetched = given;
    return result;
  }
  STDMETHODIMP Skip(ULONG count) override {
    const std::size_t left = items_.size() - at_;
    at_ += std::min<std::size_t>(count, left);
    return count <= left ? S_OK : S_FALSE;
  }
  STDMETHODIMP Reset() override {
    at_ = 0;
    return S_OK;
  }
  STDMETHODIMP Clone(Interface** copy) override {
    if (!copy) return E_POINTER;
    *copy = nullptr;
    return Guarded([&] {
      *copy = new Enumerator(items_, at_);
      return S_OK;
    });
  }

 private:
  std::vector<Item> items_;
  std::size_t at_;
};

}  // namespace ulix::controls
