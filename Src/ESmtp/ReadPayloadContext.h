#pragma once

#include <cstddef>

namespace Ondrel {

class CSmtp;

/// How far the upload of a message has come.
struct ReadPayloadContext {
  std::size_t lineIndex;  ///< The line of the payload to deliver next.
  CSmtp* owner;           ///< Whose payload is read.
};

}  // namespace Ondrel
