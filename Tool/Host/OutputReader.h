#pragma once

namespace Tool {

/// False once nobody can read standard output any more, as at a pipe whose other end was closed.
/// Windows says that at the next write only, and has true here.
bool IsStandardOutputRead();

}  // namespace Tool
