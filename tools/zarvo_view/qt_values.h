// The values the web channel carries, made from host_core's.
//
// Design note
// -----------
// The channel carries QString (UTF-16) and JSON numbers; host_core works in UTF-8 bytes. A text
// from the plug-in (an envelope, an event) may hold bytes that are not UTF-8, since the plug-in
// does not validate; `pluginText` replaces them as a browser's decoder does
// (host_core/utf8_text.h), so a page meets the same string in the view as over HTTP or a WebSocket.
// Numbers the page reads (event ids, limits) go out as doubles, which JSON and JavaScript hold
// exactly up to 2^53.
//
// Threads: stateless; any thread.
#ifndef ZARVO_VIEW_QT_VALUES_H
#define ZARVO_VIEW_QT_VALUES_H

#include <QString>
#include <QVariantMap>
#include <string>
#include <string_view>

#include "host_core/host_error.h"

namespace zarvo_view {

// `text` as a QString, ill-formed UTF-8 replaced by U+FFFD.
QString pluginText(std::string_view text);
// {status, code, message}
QVariantMap hostErrorFields(const host_core::HostError& error);

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_QT_VALUES_H
