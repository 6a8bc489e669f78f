#pragma once
// How the transport turns libcurl's result of a transfer into a URLError.

#include <curl/curl.h>

#include "tavrel/http/url_error.h"

namespace tavrel::detail {

// code: the transfer's result (not CURLE_OK); osErrno: CURLINFO_OS_ERRNO;
// tooLarge: the body outgrew the cap while it arrived.
URLError::Code urlErrorCode(CURLcode code, long osErrno, bool tooLarge) noexcept;

}  // namespace tavrel::detail
