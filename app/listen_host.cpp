#include "listen_host.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string_view>

namespace tavrel::cli {
namespace {

volatile std::sig_atomic_t signalWriteFd = -1;

extern "C" void onSignal(int signal) {
  const int saved = errno;
  const auto byte = static_cast<unsigned char>(signal);
  // A full pipe loses the signal: a thousand pending ones mean the same.
  [[maybe_unused]] const auto n = ::write(signalWriteFd, &byte, 1);
  errno = saved;
}

void makePipe(int fds[2]) {
  if (::pipe2(fds, O_CLOEXEC) != 0) {
    throw std::runtime_error(std::string("cannot make a pipe: ") + std::strerror(errno));
  }
}

}  // namespace

SignalPipe::SignalPipe(std::initializer_list<int> signals) {
  int fds[2];
  makePipe(fds);
  ::fcntl(fds[1], F_SETFL, O_NONBLOCK);
  read_ = fds[0];
  signalWriteFd = fds[1];
  for (int signal : signals) {
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    struct sigaction old {};
    ::sigaction(signal, &action, &old);
    saved_.emplace_back(signal, old);
  }
}

SignalPipe::~SignalPipe() {
  for (const auto& [signal, old] : saved_) ::sigaction(signal, &old, nullptr);
  ::close(signalWriteFd);
  signalWriteFd = -1;
  ::close(read_);
}

InputWatch::InputWatch(std::istream& in, int signalFd, std::function<void(std::string)> onLine,
                       std::function<void(int)> onSignal, std::function<void()> onEnd)
    : onLine_(std::move(onLine)), onSignal_(std::move(onSignal)), onEnd_(std::move(onEnd)) {
  makePipe(wake_);
  thread_ = std::thread([this, in = &in, signalFd] { run(in, signalFd); });
}

InputWatch::InputWatch(Readable readable, int signalFd, std::function<void(int)> onSignal)
    : onSignal_(std::move(onSignal)), onReadable_(std::move(readable.onReadable)) {
  makePipe(wake_);
  thread_ = std::thread([this, signalFd] { run(nullptr, signalFd); });
}

InputWatch::~InputWatch() {
  const char byte = 0;
  [[maybe_unused]] const auto n = ::write(wake_[1], &byte, 1);
  thread_.join();
  ::close(wake_[0]);
  ::close(wake_[1]);
}

void InputWatch::run(std::istream* in, int signalFd) {
  const bool standardInput = !in || in == &std::cin;
  if (!standardInput) {
    for (std::string line; std::getline(*in, line);) onLine_(std::move(line));
    if (onEnd_) onEnd_();
  }
  bool reading = standardInput;
  std::string pending;  // the part of a line read so far
  while (true) {
    pollfd fds[3] = {{wake_[0], POLLIN, 0}, {signalFd, POLLIN, 0}, {reading ? 0 : -1, POLLIN, 0}};
    if (::poll(fds, 3, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (fds[0].revents) return;
    if (fds[1].revents & POLLIN) {
      unsigned char signals[64];
      const auto n = ::read(signalFd, signals, sizeof signals);
      for (ssize_t i = 0; i < n; ++i) onSignal_(signals[i]);
    }
    if (fds[2].revents && onReadable_) {
      onReadable_();
    } else if (fds[2].revents) {
      char chunk[4096];
      const auto n = ::read(0, chunk, sizeof chunk);
      if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
      if (n <= 0) {
        // End of input: a last line without its line end still counts.
        if (!pending.empty()) onLine_(std::exchange(pending, {}));
        reading = false;
        if (onEnd_) onEnd_();
        continue;
      }
      pending.append(chunk, static_cast<std::size_t>(n));
      std::size_t start = 0;
      for (auto end = pending.find('\n'); end != std::string::npos;
           end = pending.find('\n', start)) {
        onLine_(pending.substr(start, end - start));
        start = end + 1;
      }
      pending.erase(0, start);
    }
  }
}

}  // namespace tavrel::cli
