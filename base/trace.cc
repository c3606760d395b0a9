#include "base/trace.h"

#include <atomic>

namespace ulix {
namespace {

std::atomic<TraceSink> trace_sink = nullptr;

}  // namespace

void SetTraceSink(TraceSink sink) { trace_sink = sink; }

void TraceLine(std::string_view line) {
  if (const TraceSink sink = trace_sink) sink(line);
}

}  // namespace ulix
