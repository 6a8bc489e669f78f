#include "device/socket_io.h"

#include <openssl/crypto.h>

#include <boost/asio/executor_work_guard.hpp>
#include <exception>
#include <string>
#include <thread>

#include "tavrel/core/log.h"

namespace tavrel::detail {
namespace {

thread_local bool isIoThread = false;

struct SocketIo {
  boost::asio::io_context context{1};
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard{
      context.get_executor()};
  std::thread thread{[this] {
    isIoThread = true;
    for (;;) {
      try {
        context.run();
        // OpenSSL keeps an error queue per thread that used TLS; free it here,
        // where the thread ends, rather than leave it to the process's exit.
        OPENSSL_thread_stop();
        return;
      } catch (const std::exception& e) {
        debugPrint(std::string("socket I/O: a handler threw: ") + e.what());
      } catch (...) {
        debugPrint("socket I/O: a handler threw");
      }
    }
  }};

  ~SocketIo() {
    guard.reset();
    context.stop();
    thread.join();
  }
};

}  // namespace

boost::asio::io_context& socketIoContext() {
  // OpenSSL registers its exit clean-up when it is first initialised. Doing
  // that here, before the thread exists, makes the clean-up run after the
  // thread has ended and freed its own state (TLS, and libcurl's first
  // initialisation, may run on this thread).
  static const bool openSslReady = OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CONFIG, nullptr) == 1;
  (void)openSslReady;
  static SocketIo io;
  return io.context;
}

bool onSocketIoThread() { return isIoThread; }

}  // namespace tavrel::detail
