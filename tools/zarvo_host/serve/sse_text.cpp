#include "serve/sse_text.h"

#include "host_core/json_text.h"

namespace zarvo_host::serve {

std::string sseOpening(const std::string& instance) {
  return "retry: 1000\n\nevent: zarvoHello\ndata: {\"instance\":" + host_core::quoteJson(instance) +
         "}\n\n";
}

void appendSseEvent(std::string* out, uint64_t id, const std::string& text) {
  *out += "id: ";
  *out += std::to_string(id);
  *out += "\nevent: zarvoEvent\n";
  // Each CR LF, CR or LF ends a data line.
  size_t start = 0;
  for (;;) {
    const size_t end = text.find_first_of("\r\n", start);
    *out += "data: ";
    out->append(text, start, end == std::string::npos ? std::string::npos : end - start);
    *out += '\n';
    if (end == std::string::npos) break;
    start = end + (text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n' ? 2 : 1);
  }
  *out += '\n';
}

void appendSseGap(std::string* out, const host_core::Gap& gap) {
  *out += "id: " + std::to_string(gap.last) +
          "\nevent: zarvoGap\ndata: {\"first\":" + std::to_string(gap.first) +
          ",\"last\":" + std::to_string(gap.last) + ",\"lost\":" + std::to_string(gap.lost()) +
          "}\n\n";
}

void appendSseBatch(std::string* out, const host_core::EventBatch& batch) {
  if (batch.gap) appendSseGap(out, *batch.gap);
  for (size_t i = 0; i < batch.texts.size(); ++i)
    appendSseEvent(out, batch.first + i, batch.texts[i]);
}

const std::string& sseKeepAlive() {
  static const std::string kText = ": keep-alive\n\n";
  return kText;
}

}  // namespace zarvo_host::serve
