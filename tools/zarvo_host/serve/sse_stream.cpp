#include "serve/sse_stream.h"

namespace zarvo_host::serve {

std::string formatSseEvent(uint64_t seq, const std::string& name, const std::string& text) {
  std::string out;
  out.reserve(text.size() + name.size() + 40);
  out += "id: ";
  out += std::to_string(seq);
  out += "\nevent: ";
  out += name;
  out += "\n";
  // Each CR LF, CR or LF ends a data line, so the client's reader rebuilds the text with LF.
  size_t start = 0;
  for (;;) {
    const size_t end = text.find_first_of("\r\n", start);
    out += "data: ";
    out.append(text, start, end == std::string::npos ? std::string::npos : end - start);
    out += "\n";
    if (end == std::string::npos) break;
    start = end + (text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n' ? 2 : 1);
  }
  out += "\n";
  return out;
}

std::string formatSseGap(uint64_t first, uint64_t last) {
  const std::string lost = std::to_string(last - first + 1);
  return "id: " + std::to_string(last) +
         "\nevent: zarvoGap\ndata: {\"first\":" + std::to_string(first) +
         ",\"last\":" + std::to_string(last) + ",\"lost\":" + lost + "}\n\n";
}

bool SseStream::step(const Write& write, bool* ended) {
  *ended = false;
  if (!opened_) {
    opened_ = true;
    return write("retry: 1000\n\n");
  }
  switch (ring_.next(&position_, &batch_, kStreamBatchBytes, keepAlive_)) {
    case RingWait::kClosed:
      *ended = true;
      return false;
    case RingWait::kTimeout:
      return write(": keep-alive\n\n");
    case RingWait::kBatch:
      break;
  }
  std::string out;
  if (batch_.gap) out += formatSseGap(batch_.gapFirst, batch_.gapLast);
  for (const RingEvent& event : batch_.events)
    out += formatSseEvent(event.seq, event.name, event.text);
  batch_.events.clear();
  return write(out);
}

}  // namespace zarvo_host::serve
