// The persistence of a control: the host stores the configuration in a stream or a storage, and the version in a
// property bag.
#include "controls/control_member.h"
#include "core/version.h"

namespace ulix::controls {
namespace {

constexpr wchar_t kContents[] = L"Contents";  // the stream inside a storage

// The bytes after the configuration, in the format of the system's own controls: a version word, then the extent on a
// form.
struct PropertyMap {
  std::uint32_t version;
  std::int32_t width;
  std::int32_t height;
};
constexpr std::uint32_t kPropertyMapVersion = 0x0700;

// A host's stream as a ByteStream.
class HostStream final : public ByteStream {
 public:
  explicit HostStream(IStream& stream) : stream_(stream) {}

  HRESULT Write(std::string_view bytes) override {
    ULONG written = 0;
    const HRESULT result = stream_.Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    if (FAILED(result)) return result;
    return written == bytes.size() ? S_OK : STG_E_MEDIUMFULL;
  }

  HRESULT Read(std::span<char> bytes) override {
    std::size_t filled = 0;
    while (filled < bytes.size()) {
      ULONG read = 0;
      const auto left = static_cast<ULONG>(bytes.size() - filled);
      const HRESULT result = stream_.Read(bytes.data() + filled, left, &read);
      if (FAILED(result)) return result;
      if (read == 0) return kEndOfStream;
      filled += read;
    }
    return S_OK;
  }

 private:
  IStream& stream_;
};

HRESULT PutVersion(IPropertyBag& bag, const wchar_t* name, std::uint32_t version) {
  VARIANT value;
  V_VT(&value) = VT_UI4;
  V_UI4(&value) = version;
  return bag.Write(name, &value);
}

}  // namespace

STDMETHODIMP Control::GetClassID(CLSID* id) {
  if (!id) return E_POINTER;
  *id = row_.class_id;
  return S_OK;
}

STDMETHODIMP Control::IsDirty() { return instrument_->IsDirty() ? S_OK : S_FALSE; }

STDMETHODIMP Control::InitNew() {
  return Member([&] { return instrument_->InitNew(); });
}

STDMETHODIMP Control::Load(IStream* stream) {
  if (!stream) return E_POINTER;
  return Member([&] {
    HostStream bytes(*stream);
    const HRESULT result = instrument_->Load(bytes);
    PropertyMap map{};
    const bool whole = SUCCEEDED(result) && SUCCEEDED(bytes.Read({reinterpret_cast<char*>(&map), sizeof(map)}));
    if (whole && map.version == kPropertyMapVersion && map.width > 0 && map.height > 0)
      hosting_.SetExtent({map.width, map.height});
    return result;
  });
}

// Once everything is written the dirty flag is cleared, whatever the host asks in the second argument. Published
// behaviour.
STDMETHODIMP Control::Save(IStream* stream, BOOL) {
  if (!stream) return E_POINTER;
  return Member([&] {
    HostStream bytes(*stream);
    const PropertyMap map{kPropertyMapVersion, hosting_.extent().cx, hosting_.extent().cy};
    return instrument_->Save(bytes, {reinterpret_cast<const char*>(&map), sizeof(map)});
  });
}

STDMETHODIMP Control::GetSizeMax(ULARGE_INTEGER* size) {
  if (!size) return E_POINTER;
  return Member([&] {
    MemoryStream bytes;
    const HRESULT result = instrument_->SaveCopy(bytes);
    size->QuadPart = bytes.bytes().size() + sizeof(PropertyMap);
    return result;
  });
}

STDMETHODIMP Control::InitNew(IStorage*) { return InitNew(); }

STDMETHODIMP Control::Load(IStorage* storage) {
  if (!storage) return E_POINTER;
  ComPtr<IStream> stream;
  const HRESULT result = storage->OpenStream(kContents, nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0, &stream);
  return FAILED(result) ? result : Load(stream.Get());
}

STDMETHODIMP Control::Save(IStorage* storage, BOOL) {
  if (!storage) return E_POINTER;
  ComPtr<IStream> stream;
  const DWORD mode = STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_CREATE;
  const HRESULT result = storage->CreateStream(kContents, mode, 0, 0, &stream);
  return FAILED(result) ? result : Save(stream.Get(), TRUE);
}

STDMETHODIMP Control::SaveCompleted(IStorage*) { return S_OK; }
STDMETHODIMP Control::HandsOffStorage() { return S_OK; }

// The property bag holds only the version and the extent on a form. The configuration is in the stream.
STDMETHODIMP Control::Load(IPropertyBag* bag, IErrorLog* log) {
  if (!bag) return E_POINTER;
  const auto read = [&](const wchar_t* name, LONG& place) {
    OwnedVariant value;
    V_VT(value.get()) = VT_I4;
    if (SUCCEEDED(bag->Read(name, value.get(), log)) && V_VT(value.get()) == VT_I4 && V_I4(value.get()) > 0) {
      place = V_I4(value.get());
    }
  };
  SIZEL extent = hosting_.extent();
  read(L"_cx", extent.cx);
  read(L"_cy", extent.cy);
  hosting_.SetExtent(extent);
  return S_OK;
}

STDMETHODIMP Control::Save(IPropertyBag* bag, BOOL, BOOL) {
  if (!bag) return E_POINTER;
  const auto put = [&](const wchar_t* name, LONG extent) {
    VARIANT value;
    V_VT(&value) = VT_I4;
    V_I4(&value) = extent;
    return bag->Write(name, &value);
  };
  HRESULT result = PutVersion(*bag, L"FileVersionMS", FileVersionMS());
  if (SUCCEEDED(result)) result = PutVersion(*bag, L"FileVersionLS", FileVersionLS());
  if (SUCCEEDED(result)) result = put(L"_cx", hosting_.extent().cx);
  return FAILED(result) ? result : put(L"_cy", hosting_.extent().cy);
}

}  // namespace ulix::controls
