#include "tavrel/api/network_errors_builder.h"

#include "tavrel/core/log.h"
#include "tavrel/http/moya_error.h"
#include "tavrel/http/url_error.h"

namespace tavrel {
namespace {

template <class V>
rx::Observable<Result<V>> catchAny(const rx::Observable<Result<V>>& source) {
  return source.catchError([](std::exception_ptr error) {
    auto shown = NetworkErrorsBuilder().uiError(error).value_or(UIRepresentableError::empty());
    return rx::just(Result<V>(std::move(shown)));
  });
}

}  // namespace

std::optional<UIRepresentableError> NetworkErrorsBuilder::error(
    int statusCode, std::optional<std::string> notFoundText) const {
  if (statusCode >= 200 && statusCode <= 299) return std::nullopt;
  switch (statusCode) {
    case 404:
      return UIRepresentableError::custom(notFoundText.value_or("Не найдено"));
    case 408:
    case 502:
      return UIRepresentableError::custom("Превышен лимит времени на запрос");
    default:
      return std::nullopt;
  }
}

std::optional<UIRepresentableError> NetworkErrorsBuilder::uiError(std::exception_ptr error) const {
  if (!error) return std::nullopt;
  try {
    std::rethrow_exception(error);
  } catch (const UIRepresentableError& shown) {
    return shown;
  } catch (const MoyaError& moya) {
    if (moya.kind() != MoyaError::Kind::underlying) return std::nullopt;
    if (!moya.urlError()) {
      debugPrint("");
      return std::nullopt;
    }
    if (moya.urlError()->code() == URLError::Code::notConnectedToInternet) {
      return UIRepresentableError::noInternet();
    }
    return std::nullopt;
  } catch (...) {
    return std::nullopt;
  }
}

rx::Observable<Result<int>> catchError(const rx::Observable<Result<int>>& source) {
  return catchAny(source);
}

rx::Observable<Result<bool>> catchError(const rx::Observable<Result<bool>>& source) {
  return catchAny(source);
}

}  // namespace tavrel
