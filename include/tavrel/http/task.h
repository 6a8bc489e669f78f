#pragma once
// Task: what a target puts into its request besides URL, method and headers.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tavrel/core/json_value.h"
#include "tavrel/http/http_message.h"
#include "tavrel/http/parameter_encoding.h"

namespace tavrel {

// One part of a multipart/form-data body.
struct MultipartFormData {
  std::string data;                     // the part's bytes
  std::string name;                     // the form field name
  std::optional<std::string> fileName;  // sent as filename="..." when present
  std::optional<std::string> mimeType;  // the part's Content-Type when present
};

// Where a downloaded body is written, chosen once the answer is there.
using DownloadDestination = std::function<std::filesystem::path(const HttpResponse& response)>;

class Task {
 public:
  // No body, no parameters.
  struct RequestPlain {};
  // The bytes as the body.
  struct RequestData {
    std::string data;
  };
  // A JSON value as the body, with Content-Type "application/json".
  struct RequestJSONEncodable {
    JsonValue value;
  };
  // The parameters through the encoding.
  struct RequestParameters {
    Parameters parameters;
    ParameterEncoding encoding;
  };
  // The bytes as the body, the parameters in the query.
  struct RequestCompositeData {
    std::string bodyData;
    Parameters urlParameters;
  };
  // Body parameters through bodyEncoding (JSONEncoding, or URLEncoding with
  // destination httpBody: any other URLEncoding is refused), URL parameters
  // in the query.
  struct RequestCompositeParameters {
    Parameters bodyParameters;
    ParameterEncoding bodyEncoding;
    Parameters urlParameters;
  };
  // A multipart/form-data body, the parameters in the query.
  struct UploadCompositeMultipart {
    std::vector<MultipartFormData> multipartBody;
    Parameters urlParameters;
  };
  // The parameters through the encoding; the body of the answer is also
  // written to the file that destination names.
  struct DownloadParameters {
    Parameters parameters;
    ParameterEncoding encoding;
    DownloadDestination destination;
  };

  using Case = std::variant<RequestPlain, RequestData, RequestJSONEncodable, RequestParameters,
                            RequestCompositeData, RequestCompositeParameters,
                            UploadCompositeMultipart, DownloadParameters>;

  Task() = default;  // requestPlain
  Task(Case value) : case_(std::move(value)) {}

  static Task requestPlain() { return Task(RequestPlain{}); }
  static Task requestData(std::string data) { return Task(RequestData{std::move(data)}); }
  static Task requestJSONEncodable(JsonValue value) {
    return Task(RequestJSONEncodable{std::move(value)});
  }
  static Task requestParameters(Parameters parameters, ParameterEncoding encoding) {
    return Task(RequestParameters{std::move(parameters), encoding});
  }
  static Task requestCompositeData(std::string bodyData, Parameters urlParameters) {
    return Task(RequestCompositeData{std::move(bodyData), std::move(urlParameters)});
  }
  static Task requestCompositeParameters(Parameters bodyParameters, ParameterEncoding bodyEncoding,
                                         Parameters urlParameters) {
    return Task(RequestCompositeParameters{std::move(bodyParameters), bodyEncoding,
                                           std::move(urlParameters)});
  }
  static Task uploadCompositeMultipart(std::vector<MultipartFormData> body,
                                       Parameters urlParameters) {
    return Task(UploadCompositeMultipart{std::move(body), std::move(urlParameters)});
  }
  static Task downloadParameters(Parameters parameters, ParameterEncoding encoding,
                                 DownloadDestination destination) {
    return Task(DownloadParameters{std::move(parameters), encoding, std::move(destination)});
  }

  const Case& value() const noexcept { return case_; }
  // The payload of case C, or nullptr for another case.
  template <class C>
  const C* getIf() const noexcept {
    return std::get_if<C>(&case_);
  }

 private:
  Case case_;
};

}  // namespace tavrel
