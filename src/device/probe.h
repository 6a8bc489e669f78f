#pragma once
// The HTTPS probe that confirms a network path: one GET, passed on a 2xx
// answer. A captive portal's redirect to another site, an error page, a
// refused connection or silence all fail it.

#include <chrono>
#include <functional>
#include <string>

#include "tavrel/http/http_transport.h"

namespace tavrel::detail {

// Sends the probe on the shared transport; `done` runs once, on the HTTP
// layer's callback queue, unless the handle cancels the request first (then
// it runs with false). `timeout` bounds the transfer once connected.
RequestHandle sendProbe(const std::string& url, std::chrono::milliseconds timeout,
                        std::function<void(bool passed)> done);

}  // namespace tavrel::detail
