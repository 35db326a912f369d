// The system's own wording for an error code, for messages that tell a person why something
// failed.
#pragma once

#include <string>

#include "platform/types.h"

namespace tv {

// The text the system gives for `code`, without a trailing line break. Codes the system has no
// text for read "Error code N." (decimal), so the number always reaches the person.
std::wstring SystemErrorText(ErrorCode code);

}  // namespace tv
