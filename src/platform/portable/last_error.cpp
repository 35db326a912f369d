// Portable implementation of the last-error slot: a thread-local, as Windows keeps it per thread.
#ifndef _WIN32

#include "platform/last_error.h"

namespace tv {
namespace {
thread_local ErrorCode t_last_error = err::kSuccess;
}  // namespace

ErrorCode GetLastErrorCode() { return t_last_error; }
void SetLastErrorCode(ErrorCode code) { t_last_error = code; }

}  // namespace tv

#endif  // !_WIN32
