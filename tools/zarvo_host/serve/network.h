// The short names of Boost.Asio and Boost.Beast used throughout the web host.
//
// The web host runs on one Asio event loop (an io_context run by one thread): every session,
// timer and registry below is touched only from that thread, so none of them takes a lock. Only
// the host thread (host_thread.h) and the event log's listener cross threads, and both hand their
// work to the loop with net::post.
#ifndef ZARVO_HOST_SERVE_NETWORK_H
#define ZARVO_HOST_SERVE_NETWORK_H

#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>

namespace zarvo_host::serve {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = net::ip::tcp;
using beast::error_code;

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_NETWORK_H
