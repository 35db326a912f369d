// What keeps a session that reached its idle mark from being warned or logged off, besides
// input: a listed program running in it, or (for kiosks that log on by themselves) no input at
// all since its watch began. Asked only at the monitor's own deadlines, so an idle session
// costs one look at its process list per time-out, and nothing while the settings leave the
// sources off. Every sparing is written once per idle stretch, so that no source keeps a
// session alive without a trace.
#pragma once

#include <string>

#include "platform/sessions.h"
#include "settings/kept_alive_record.h"

namespace tv {

class MyOpts;

class KeepAlive {
 public:
  // Input reached the session: a new idle stretch begins, and a kiosk's idle clock runs.
  void OnInput();
  bool HadInput() const { return hadInput_; }

  // The source that keeps session `id` now under `opts`, with the program's image name in
  // `program` for kProgram. A process list that cannot be read keeps nothing: a failed question
  // must not spare a session for ever.
  KeepSource Check(const MyOpts& opts, Sessions& sessions, SessionId id, std::wstring& program) const;

  // Whether this sparing is to be written: the first of the idle stretch, or another source or
  // program than the one written last.
  bool TakeReport(KeepSource source, const std::wstring& program);

  // The reason as the event log's entry gives it (its second insertion).
  static std::wstring Describe(KeepSource source, const std::wstring& program);

 private:
  bool hadInput_ = false;
  KeepSource reported_ = KeepSource::kNone;
  std::wstring reportedProgram_;
};

}  // namespace tv
