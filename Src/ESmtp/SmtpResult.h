#pragma once

#include <Ondrel/Smtp.h>

#include <cstdint>
#include <span>

namespace Ondrel {

/// One row of the conversion from libcurl's results.
struct SmtpResultRow {
  std::int32_t curlResult;
  CSmtpError error;
};

/// The rows in the order in which they are searched.
std::span<const SmtpResultRow> SmtpResultRows();

/// The failure that a result of libcurl stands for: that of the first row with this result, and
/// `CSMTP_ERROR_UNEXPECTED_CODE` for a result without a row.
CSmtpError SmtpErrorFromCurl(std::int32_t curlResult);

}  // namespace Ondrel
