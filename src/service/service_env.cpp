#include "service/service_env.h"

#include "foundation/object_names.h"

namespace tv {

std::wstring ServiceEnvironment::FormatDateTime(const SystemTime& local) const {
  return formatDateTime ? formatDateTime(local) : FormatLocalDateTime(local);
}

std::wstring ServiceEnvironment::NewObjectTag() const { return newObjectTag ? newObjectTag() : tv::NewObjectTag(); }

ServiceEnvironment SystemServiceSeams::Environment(const std::wstring& launcherPath, EventLog* log) const {
  ServiceEnvironment env{
      .sessions = *sessions,
      .accounts = *accounts,
      .power = *power,
      .eventLog = log ? *log : *eventLog,
      .clock = *clock,
      .keys = DefaultKeyStore(),
  };
  env.launcherPath = launcherPath;
  return env;
}

}  // namespace tv
