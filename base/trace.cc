#include "base/trace.h"

#include <atomic>

namespace ulix {
namespace {

std::atomic<TraceSink> trace_sink = nullptr;

}  // namespace

void SetTraceSink(TraceSink sink) { trace_sink = sink; }

void TraceLine(std::string_view line) noexcept {
  const TraceSink sink = trace_sink;
  if (sink == nullptr) return;
  try {
    sink(line);
  } catch (...) {  // NOLINT(bugprone-empty-catch): see the header
  }
}

}  // namespace ulix
