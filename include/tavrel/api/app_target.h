#pragma once
// AppTarget: the applications of a panel account.

#include <string>

#include "tavrel/api/tavrel_target.h"

namespace tavrel {

class AppTarget : public TavrelTarget {
 public:
  // GET "djangousers/" + text, no parameters of its own.
  static AppTarget getApps(std::string text) { return AppTarget(std::move(text)); }

  // The text of the getApps case.
  const std::string& text() const noexcept { return text_; }

  std::string path() const override { return "djangousers/" + text_; }
  Method method() const override { return Method::get; }
  Task task() const override { return Task::requestPlain(); }

 private:
  explicit AppTarget(std::string text) : text_(std::move(text)) {}
  std::string text_;
};

}  // namespace tavrel
