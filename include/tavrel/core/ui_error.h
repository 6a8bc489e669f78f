#pragma once
// The one error the library shows to people: a text for the screen, a text for
// developers only, the no-connection marker, or an error with nothing to say.

#include <exception>
#include <string>

namespace tavrel {

class UIRepresentableError : public std::exception {
 public:
  enum class Kind { custom, debug, noInternet, empty };

  // What the service or a decoder said; screens show it.
  static UIRepresentableError custom(std::string text);
  // What only a developer should read; screens may leave it out.
  static UIRepresentableError debug(std::string text);
  // The device has no connection.
  static UIRepresentableError noInternet();
  // An error with nothing to say.
  static UIRepresentableError empty();

  Kind kind() const noexcept { return kind_; }
  // The payload of `custom` and `debug`; "" for the other cases.
  const std::string& text() const noexcept { return text_; }

  // The text for a screen: the payload, the translated "Нет интернет
  // соединения" for `noInternet`, "" for `empty`.
  std::string localizedDescription() const;

  bool isEmpty() const noexcept { return kind_ == Kind::empty; }
  bool isDebug() const noexcept { return kind_ == Kind::debug; }

  // The untranslated description, for logs and stream failures.
  const char* what() const noexcept override;

  friend bool operator==(const UIRepresentableError& a, const UIRepresentableError& b) noexcept {
    return a.kind_ == b.kind_ && a.text_ == b.text_;
  }

 private:
  UIRepresentableError(Kind kind, std::string text) : kind_(kind), text_(std::move(text)) {}

  Kind kind_;
  std::string text_;
};

}  // namespace tavrel
