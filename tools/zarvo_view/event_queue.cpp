#include "event_queue.h"

#include <QMetaObject>
#include <algorithm>
#include <cstring>

#include "bridge_helper_stand_in.h"

namespace zarvo_view {

EventQueue::EventQueue(QObject* parent) : QObject(parent) {}

EventQueue::~EventQueue() {
  uninstall();
}

void EventQueue::install() {
  BridgeHelperStandInSetEventSink(&EventQueue::sink, this);
  installed_ = true;
}

void EventQueue::uninstall() {
  if (!installed_) return;
  BridgeHelperStandInSetEventSink(nullptr, nullptr);
  installed_ = false;
}

void EventQueue::sink(const char* eventName, const char* json, void* userData) {
  // The plug-in dispatches nothing but "zarvoEvent"; anything else is not for the page.
  if (eventName == nullptr || std::strcmp(eventName, "zarvoEvent") != 0) return;
  static_cast<EventQueue*>(userData)->push(json != nullptr ? json : "");
}

void EventQueue::push(const char* json) {
  QString text = QString::fromUtf8(json);
  bool post = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    waiting_.push_back(std::move(text));
    post = !wakeUpPosted_;
    wakeUpPosted_ = true;
  }
  if (post) QMetaObject::invokeMethod(this, "drain", Qt::QueuedConnection);
}

void EventQueue::drain() {
  std::vector<QString> taken;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    taken.swap(waiting_);
    wakeUpPosted_ = false;
  }
  if (taken.empty()) return;
  // Bounded batches keep each web-channel message small when a burst has piled up.
  constexpr size_t kBatch = 1000;
  for (size_t first = 0; first < taken.size(); first += kBatch) {
    const size_t end = std::min(taken.size(), first + kBatch);
    QStringList texts;
    texts.reserve(static_cast<int>(end - first));
    for (size_t i = first; i < end; ++i) texts.push_back(taken[i]);  // shares, no copy
    emit events(texts);
  }
}

}  // namespace zarvo_view
