#include "chat_terminal.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <utility>

// libedit's interface in the shape of GNU readline's, with its callback mode.
#include <editline/readline.h>

namespace tavrel::cli {
namespace {

EditScreen* current = nullptr;  // the one whose callback libedit calls
constexpr const char* kPrompt = "> ";

}  // namespace

void PlainScreen::show(std::string_view line) {
  out_ << line << '\n';
  out_.flush();
}

void PlainScreen::note(std::string_view line) {
  err_ << "tavrel chat: " << line << '\n';
  err_.flush();
}

EditScreen::EditScreen(std::function<void(std::optional<std::string>)> onLine)
    : onLine_(std::move(onLine)) {
  // The editor counts characters by the locale: UTF-8 for emoji and Cyrillic.
  const char* locale = std::setlocale(LC_CTYPE, "");
  if (!locale || !std::strstr(locale, "UTF-8")) std::setlocale(LC_CTYPE, "C.UTF-8");
  current = this;
  rl_readline_name = "tavrel";
  rl_catch_signals = 0;  // the chat takes the signals itself
  using_history();
  resume();
}

EditScreen::~EditScreen() {
  suspend();
  std::fputs("\n", stdout);
  std::fflush(stdout);
  current = nullptr;
}

void EditScreen::lineDone(char* line) {
  if (!current) return;
  std::optional<std::string> text;
  if (line) {
    text = line;
    if (!text->empty()) add_history(line);
    std::free(line);
  }
  // libedit leaves its character-at-a-time mode when a line ends, with the
  // finished line still in its buffer: until it is installed again, nothing
  // is redrawn, and installing it clears the line and shows the prompt.
  EditScreen* screen = current;
  const bool more = text.has_value();
  screen->betweenLines_ = true;
  screen->onLine_(std::move(text));
  if (current != screen) return;  // the chat ended with that line
  screen->betweenLines_ = false;
  if (more && screen->active_) rl_callback_handler_install(kPrompt, lineDone);
}

void EditScreen::readable() {
  if (active_) rl_callback_read_char();
}

void EditScreen::suspend() {
  if (!std::exchange(active_, false)) return;
  // Removing the handler drops the line being typed: keep it for resume().
  if (!betweenLines_ && rl_line_buffer) unfinished_ = rl_line_buffer;
  rl_callback_handler_remove();
}

void EditScreen::resume() {
  if (std::exchange(active_, true)) return;
  rl_callback_handler_install(kPrompt, lineDone);
  // Ctrl-Z and Ctrl-C stay signals while a line is edited.
  rl_parse_and_bind("setty -x +isig");
  if (!unfinished_.empty()) {
    rl_insert_text(unfinished_.c_str());
    unfinished_.clear();
    std::fputs("\r\x1b[K", stdout);  // over the prompt that installing drew
    std::fflush(stdout);
    rl_forced_update_display();
  }
}

void EditScreen::above(std::string_view text) {
  // Over the prompt line: the text, then the prompt and the typed line again.
  std::fputs("\r\x1b[K", stdout);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputs("\n", stdout);
  std::fflush(stdout);
  if (active_ && !betweenLines_) rl_forced_update_display();
}

void EditScreen::show(std::string_view line) { above(line); }

void EditScreen::note(std::string_view line) {
  std::string dim = "\x1b[2m";  // faint, so that the conversation stands out
  dim += line;
  dim += "\x1b[0m";
  above(dim);
}

}  // namespace tavrel::cli
