// Portable implementation of the system error text: Windows' wording for the codes the product
// meets, the number for the rest.
#ifndef _WIN32

#include <algorithm>
#include <iterator>

#include "entry/error_text.h"
#include "platform/last_error.h"

namespace tv {
namespace {

struct Known {
  ErrorCode code;
  const wchar_t* text;
};

constexpr Known kTexts[] = {
    {err::kSuccess, L"The operation completed successfully."},
    {err::kFileNotFound, L"The system cannot find the file specified."},
    {err::kAccessDenied, L"Access is denied."},
    {err::kInvalidHandle, L"The handle is invalid."},
    {err::kInvalidParameter, L"The parameter is incorrect."},
    {err::kCallNotImplemented, L"This function is not supported on this system."},
    {1053, L"The service did not respond to the start or control request in a timely fashion."},
    {1056, L"An instance of the service is already running."},
    {1058, L"The service cannot be started, either because it is disabled or because it has no enabled devices "
           L"associated with it."},
    {1060, L"The specified service does not exist as an installed service."},
    {1061, L"The service cannot accept control messages at this time."},
    {1062, L"The service has not been started."},
    {1072, L"The specified service has been marked for deletion."},
    {1073, L"The specified service already exists."},
};

}  // namespace

std::wstring SystemErrorText(ErrorCode code) {
  auto it = std::find_if(std::begin(kTexts), std::end(kTexts), [code](const Known& k) { return k.code == code; });
  if (it != std::end(kTexts)) return it->text;
  return L"Error code " + std::to_wstring(code) + L".";
}

}  // namespace tv

#endif  // !_WIN32
