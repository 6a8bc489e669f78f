#pragma once
// What `tavrel listen` waits on besides the library: lines of standard input
// and signals. A signal handler only writes the signal's number to a pipe;
// a thread of the command's own reads that pipe and standard input and hands
// each line and signal on, so no library code ever runs in a handler.

#include <csignal>
#include <functional>
#include <initializer_list>
#include <istream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tavrel::cli {

// Catches `signals` for as long as it lives (one instance at a time) and
// restores the earlier dispositions when it goes.
class SignalPipe {
 public:
  explicit SignalPipe(std::initializer_list<int> signals);
  ~SignalPipe();
  SignalPipe(const SignalPipe&) = delete;
  SignalPipe& operator=(const SignalPipe&) = delete;

  // The pipe's read end: one byte, the signal's number, per signal.
  int fd() const noexcept { return read_; }

 private:
  int read_ = -1;
  std::vector<std::pair<int, struct sigaction>> saved_;
};

// A thread that reads `in` line by line and the signal pipe, and calls
// `onLine` for each line (without its line end) and `onSignal` for each
// signal, on that thread. Standard input is read from descriptor 0 as it
// arrives; another stream (a test's, in memory) is read whole at once. End
// of input ends only the reading of input, after `onEnd`, if given. Stops and
// joins when destroyed.
//
// With `onReadable` instead of lines (a terminal whose line editor reads
// descriptor 0 itself), each time descriptor 0 has something to read the
// thread calls it and waits for it to return before it looks again.
class InputWatch {
 public:
  InputWatch(std::istream& in, int signalFd, std::function<void(std::string)> onLine,
             std::function<void(int)> onSignal, std::function<void()> onEnd = {});
  struct Readable {
    std::function<void()> onReadable;
  };
  InputWatch(Readable readable, int signalFd, std::function<void(int)> onSignal);
  ~InputWatch();
  InputWatch(const InputWatch&) = delete;
  InputWatch& operator=(const InputWatch&) = delete;

 private:
  void run(std::istream* in, int signalFd);

  std::function<void(std::string)> onLine_;
  std::function<void(int)> onSignal_;
  std::function<void()> onEnd_;
  std::function<void()> onReadable_;
  int wake_[2] = {-1, -1};  // written by the destructor to end the thread
  std::thread thread_;
};

}  // namespace tavrel::cli
