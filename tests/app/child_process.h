#pragma once
// The `tavrel` executable in a child process, for the CLI tests that need a
// real process: signals, a terminal-less standard input, its exit status.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tavrel::cli {

inline constexpr auto kBound = std::chrono::seconds(10);

// The child: lines to its standard input, from its standard output; its
// standard error goes to a file.
class Child {
 public:
  Child(std::vector<std::string> args, const std::filesystem::path& errFile) : errFile_(errFile) {
    args.insert(args.begin(), std::string(TAVREL_CLI_EXE));
    std::vector<char*> argv;
    for (auto& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    int in[2], out[2];
    EXPECT_EQ(0, ::pipe2(in, O_CLOEXEC) | ::pipe2(out, O_CLOEXEC));
    if ((pid_ = ::fork()) == 0) {  // only async-signal-safe calls until exec
      ::dup2(in[0], 0), ::dup2(out[1], 1);
      ::dup2(::open(errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
      ::execv(argv[0], argv.data()), ::_exit(127);
    }
    ::close(in[0]), ::close(out[1]);
    in_ = in[1], out_ = out[0];
  }
  ~Child() {
    if (!ended_) ::kill(pid_, SIGKILL), ::waitpid(pid_, nullptr, 0);
    ::close(in_), ::close(out_);
  }

  void write(const std::string& lines) {
    ASSERT_EQ(::write(in_, lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
  }
  void closeInput() { ::close(std::exchange(in_, -1)); }
  void signal(int number) { ::kill(pid_, number); }
  // The next line of standard output; nothing if none came within the bound.
  // (The bound is a failure's, never a wait of a passing test.)
  std::optional<std::string> line() {
    const auto end = std::chrono::steady_clock::now() + kBound;
    for (auto at = buffer_.find('\n'); at == std::string::npos; at = buffer_.find('\n')) {
      if (std::chrono::steady_clock::now() > end || !read(100)) return std::nullopt;
    }
    std::string first = buffer_.substr(0, buffer_.find('\n'));
    buffer_.erase(0, first.size() + 1);
    return first;
  }
  // Waits within the bound for the exit status (-1 if it did not end) or,
  // with WUNTRACED, for a stop (kStopped).
  int status(int options = 0) {
    const auto end = std::chrono::steady_clock::now() + kBound;
    for (int raw = 0; std::chrono::steady_clock::now() < end; read(20)) {
      if (::waitpid(pid_, &raw, WNOHANG | options) != pid_) continue;
      if (WIFSTOPPED(raw)) return kStopped;
      ended_ = true;
      return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    return -1;
  }
  // Waits within the bound until standard error holds `text`.
  bool errHas(const std::string& text) {
    const auto end = std::chrono::steady_clock::now() + kBound;
    while (err().find(text) == std::string::npos) {
      if (std::chrono::steady_clock::now() > end) return false;
      read(20);
    }
    return true;
  }
  std::string err() const {
    std::ifstream in(errFile_);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  static constexpr int kStopped = -2;

 private:
  // Reads what standard output has within `ms`; false at its end.
  bool read(int ms) {
    pollfd fd{out_, POLLIN, 0};
    char chunk[4096];
    if (::poll(&fd, 1, ms) <= 0) return true;
    const auto n = ::read(out_, chunk, sizeof chunk);
    if (n > 0) buffer_.append(chunk, static_cast<std::size_t>(n));
    return n > 0;
  }

  std::filesystem::path errFile_;
  pid_t pid_ = -1;
  int in_ = -1, out_ = -1;
  bool ended_ = false;
  std::string buffer_;  // standard output not yet taken as lines
};

}  // namespace tavrel::cli
