// Members about recorded memory, as a control without memory answers them.
#include "core/instrument_member.h"

namespace ulix {

HRESULT Instrument::MemBlocks(std::vector<std::uint32_t>* blocks) {
  return Member([&] { return Give(blocks, std::vector<std::uint32_t>()); });
}

HRESULT Instrument::CfgHasMemBlocks(std::int32_t* has) {
  return Member([&] { return Give(has, 0); });
}

HRESULT Instrument::UnknownBlock() {
  return Member([] { return E_INVALIDARG; });
}

HRESULT Instrument::GetMemBlockStatus(std::int32_t, std::uint32_t*, std::uint32_t*, std::int32_t*, std::int32_t*) {
  return UnknownBlock();
}

HRESULT Instrument::ReadMemBlock(std::int32_t, std::uint32_t, bool, ChannelArrays*, std::uint32_t*) {
  return UnknownBlock();
}

HRESULT Instrument::ClearMemBlock(std::int32_t, std::uint32_t) { return UnknownBlock(); }
HRESULT Instrument::GetMemBlockName(std::int32_t, std::string*) { return UnknownBlock(); }
HRESULT Instrument::GetMemBlockSize(std::int32_t, std::uint32_t*) { return UnknownBlock(); }

HRESULT Instrument::GetMemBlockCyclePeriod(std::int32_t, std::uint32_t*, std::uint32_t*) { return UnknownBlock(); }

}  // namespace ulix
