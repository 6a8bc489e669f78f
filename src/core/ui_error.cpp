#include "tavrel/core/ui_error.h"

#include "tavrel/core/resources.h"

namespace tavrel {
namespace {
constexpr const char* kNoInternet = "Нет интернет соединения";
}

UIRepresentableError UIRepresentableError::custom(std::string text) { return {Kind::custom, std::move(text)}; }
UIRepresentableError UIRepresentableError::debug(std::string text) { return {Kind::debug, std::move(text)}; }
UIRepresentableError UIRepresentableError::noInternet() { return {Kind::noInternet, {}}; }
UIRepresentableError UIRepresentableError::empty() { return {Kind::empty, {}}; }

std::string UIRepresentableError::localizedDescription() const {
  switch (kind_) {
    case Kind::custom:
    case Kind::debug:
      return text_;
    case Kind::noInternet:
      return R::string::noInternet();
    case Kind::empty:
      break;
  }
  return "";
}

const char* UIRepresentableError::what() const noexcept {
  return kind_ == Kind::noInternet ? kNoInternet : text_.c_str();
}

}  // namespace tavrel
