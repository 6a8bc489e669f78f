#pragma once
// NetworkErrorsBuilder: what to show for a failed request. catchError turns
// the failure of a stream into one last Result error element.

#include <exception>
#include <optional>
#include <string>

#include "tavrel/core/result.h"
#include "tavrel/core/ui_error.h"
#include "tavrel/rx/observable.h"

namespace tavrel {

class NetworkErrorsBuilder {
 public:
  NetworkErrorsBuilder() = default;
  virtual ~NetworkErrorsBuilder() = default;

  // The error for an HTTP status: none for 200 to 299, custom(notFoundText,
  // or "Не найдено") for 404, custom("Превышен лимит времени на запрос") for
  // 408 and 502, none for any other.
  virtual std::optional<UIRepresentableError> error(
      int statusCode, std::optional<std::string> notFoundText = std::nullopt) const;

  // The error for a stream's failure: a UIRepresentableError as it is,
  // noInternet for a MoyaError underlying URLError notConnectedToInternet,
  // none for anything else.
  virtual std::optional<UIRepresentableError> uiError(std::exception_ptr error) const;

 protected:
  NetworkErrorsBuilder(const NetworkErrorsBuilder&) = default;
  NetworkErrorsBuilder& operator=(const NetworkErrorsBuilder&) = default;
};

// The same stream; a failure becomes one last element Result error of
// NetworkErrorsBuilder().uiError (empty when it has none), then completion.
rx::Observable<Result<int>> catchError(const rx::Observable<Result<int>>& source);
rx::Observable<Result<bool>> catchError(const rx::Observable<Result<bool>>& source);

}  // namespace tavrel
