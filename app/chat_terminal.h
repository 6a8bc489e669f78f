#pragma once
// Where `tavrel chat` shows things and reads from: a plain pair of streams
// when standard input is no terminal, a line editor (libedit) when it is.

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace tavrel::cli {

class Screen {
 public:
  virtual ~Screen() = default;
  // An event of the conversation: one line (or more, for a message with
  // line breaks).
  virtual void show(std::string_view line) = 0;
  // What the chat says about itself: connections, mistakes, hints.
  virtual void note(std::string_view line) = 0;
};

// Lines on standard output, notes on standard error.
class PlainScreen final : public Screen {
 public:
  PlainScreen(std::ostream& out, std::ostream& err) : out_(out), err_(err) {}
  void show(std::string_view line) override;
  void note(std::string_view line) override;

 private:
  std::ostream& out_;
  std::ostream& err_;
};

// The terminal with a prompt at the bottom: everything shown goes above it,
// and the line being typed is drawn again after. Typed lines go to
// `onLine`; the end of input (Ctrl-D on an empty line) gives nothing. One
// instance at a time; all calls on the main thread.
class EditScreen final : public Screen {
 public:
  explicit EditScreen(std::function<void(std::optional<std::string>)> onLine);
  ~EditScreen() override;
  EditScreen(const EditScreen&) = delete;
  EditScreen& operator=(const EditScreen&) = delete;

  void show(std::string_view line) override;
  void note(std::string_view line) override;

  // Descriptor 0 has something: lets the editor read it.
  void readable();
  // Before the process stops (Ctrl-Z): the terminal as the shell left it.
  void suspend();
  // After it continues: the prompt and the line typed so far, again.
  void resume();

 private:
  static void lineDone(char* line);
  void above(std::string_view text);

  std::function<void(std::optional<std::string>)> onLine_;
  bool active_ = false;
  bool betweenLines_ = false;  // a finished line is being handled
  std::string unfinished_;     // what was typed when the screen was suspended
};

}  // namespace tavrel::cli
