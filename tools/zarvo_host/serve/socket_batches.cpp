#include "serve/socket_batches.h"

#include <utility>

#include "serve/socket_messages.h"

namespace zarvo_host::serve {

bool SocketBatches::next(uint64_t position, SocketBatch* batch) {
  *batch = SocketBatch();
  const auto kept = kept_.find(position + 1);
  if (kept != kept_.end()) {
    batch->text = kept->second.text;
    batch->last = kept->second.last;
    return true;
  }
  host_core::EventBatch read;
  uint64_t last = position;
  if (!events_.read(&last, batchBytes_, &read)) return false;
  batch->gap = read.gap;
  batch->text = std::make_shared<const std::string>(eventsMessage(read.first, read.texts));
  batch->last = last;
  kept_[read.first] = Kept{batch->text, last};
  if (kept_.size() > kKeptBatches) kept_.erase(kept_.begin());
  return true;
}

}  // namespace zarvo_host::serve
