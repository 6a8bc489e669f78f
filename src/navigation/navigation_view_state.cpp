#include "tavrel/navigation/navigation_view_state.h"

#include "tavrel/core/info_plist.h"

namespace tavrel::navigation {
namespace {

// The Russian text is the key and the default, also without the bundle.
QString localized(const char* text) {
  const std::string translated = localize(text, AppType::lib);
  return QString::fromStdString(translated.empty() ? std::string(text) : translated);
}

// The descriptions hold no-break spaces (U+00A0) where a line must not
// break, and "из‑за" a non-breaking hyphen (U+2011).
constexpr const char* connectErrorTitle = "Нет интернета";
constexpr const char* connectErrorDesc =
    "У\u00A0вас пропал интернет. Восстановите соединение и\u00A0повторите попытку.";
constexpr const char* serverErrorTitle = "Что-то пошло не так";
constexpr const char* serverErrorDesc =
    "Не\u00A0удалось загрузить данные из\u2011за\u00A0ошибки на\u00A0сервере. Повторите попытку позже.";

}  // namespace

QString NavigationViewState::getTitle() const {
  if (kind_ == Case::zeroData) return title_;
  return localized(kind_ == Case::connectError ? connectErrorTitle : serverErrorTitle);
}

QString NavigationViewState::getDesc() const {
  if (kind_ == Case::zeroData) return desc_;
  return localized(kind_ == Case::connectError ? connectErrorDesc : serverErrorDesc);
}

const char* toString(NavigationViewState::Case kind) {
  switch (kind) {
    case NavigationViewState::Case::frameLoading: return "frameLoading";
    case NavigationViewState::Case::zeroData: return "zeroData";
    case NavigationViewState::Case::hide: return "hide";
    case NavigationViewState::Case::connectError: return "connectError";
    case NavigationViewState::Case::serverError: return "serverError";
    case NavigationViewState::Case::fullscreenLoading: return "fullscreenLoading";
    case NavigationViewState::Case::contentLoading: return "contentLoading";
  }
  return "?";
}

}  // namespace tavrel::navigation
