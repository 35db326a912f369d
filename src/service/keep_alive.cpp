#include "service/keep_alive.h"

#include <vector>

#include "settings/my_opts.h"
#include "settings/program_names.h"

namespace tv {

void KeepAlive::OnInput() {
  hadInput_ = true;
  reported_ = KeepSource::kNone;
  reportedProgram_.clear();
}

KeepSource KeepAlive::Check(const MyOpts& opts, Sessions& sessions, SessionId id, std::wstring& program) const {
  if (opts.IdleFromFirstInput && !hadInput_) return KeepSource::kNoInputYet;
  if (opts.KeepAliveProcesses.empty()) return KeepSource::kNone;
  std::vector<std::wstring> running;
  if (!sessions.EnumerateSessionProcesses(id, running)) return KeepSource::kNone;
  program = FirstListedProgram(opts.KeepAliveProcesses, running);
  return program.empty() ? KeepSource::kNone : KeepSource::kProgram;
}

bool KeepAlive::TakeReport(KeepSource source, const std::wstring& program) {
  if (source == reported_ && program == reportedProgram_) return false;
  reported_ = source;
  reportedProgram_ = program;
  return true;
}

std::wstring KeepAlive::Describe(KeepSource source, const std::wstring& program) {
  switch (source) {
    case KeepSource::kNoInputYet:
      return L"the session has had no input since its monitoring began, and its idle time starts at its first "
             L"input (IdleFromFirstInput)";
    case KeepSource::kProgram: return L"the listed program '" + program + L"' runs in it (KeepAliveProcesses)";
    case KeepSource::kAudio: return L"sound is being played or recorded in it (KeepAliveAudio)";
    case KeepSource::kPresentation:
      return L"it is presenting or shows a full-screen program (KeepAlivePresentation)";
    case KeepSource::kNone: break;
  }
  return L"nothing";
}

}  // namespace tv
