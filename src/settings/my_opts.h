// MyOpts: the settings record of forced log-off that every run mode reads. It comes from the
// product's key, from the computer policy key when that holds "Enable", or (in the configuration
// utility) from a bound domain GPO, and goes to a settings file through the "Temp" subkey.
// Durations are minutes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "foundation/data_folder.h"
#include "platform/accounts.h"
#include "platform/power.h"
#include "platform/registry.h"
#include "platform/types.h"
#include "settings/gpo.h"
#include "settings/import_checks.h"
#include "settings/options.h"
#include "settings/policy.h"
#include "settings/schedule.h"

namespace tv {

class GPObj;

// Capacities of the record's fixed text fields, in characters with the terminator.
inline constexpr std::size_t kGpoPathChars = 260;
inline constexpr std::size_t kMessageTextChars = 512;
// The update source is an address or path; a longer one is not read.
inline constexpr std::size_t kUpdateSourceChars = 2048;
inline constexpr const wchar_t* kUpdateSourceValue = L"UpdateSource";
// The buffer the warning text is built in; a longer text is cut.
inline constexpr std::size_t kUserMsgChars = 512;

// The power actions of ShutdownAction.
inline constexpr DWORD kActionSleep = 1;
inline constexpr DWORD kActionHibernate = 2;
inline constexpr DWORD kActionShutdown = 3;

// policyState: how a GPO holds the product's policy.
inline constexpr DWORD kPolicyNotConfigured = 0;
inline constexpr DWORD kPolicyEnabled = 1;
inline constexpr DWORD kPolicyDisabled = 2;

// Where a record's outside world is. A null member means the system's own (the default key
// store, the computer's accounts, the system's group-policy object, the shell's folder).
struct MyOptsServices {
  KeyStore* store = nullptr;
  Accounts* accounts = nullptr;
  GpoFactory* gpoFactory = nullptr;
  CommonFolderSource dataFolderSource = nullptr;
};

class MyOpts : public BoolOpts {
 public:
  // Flag value "Options"; nothing loaded, no schedule, empty lists. Call Load (which resets
  // first) before use.
  explicit MyOpts(KeyStore& store = DefaultKeyStore());
  explicit MyOpts(const MyOptsServices& services);
  ~MyOpts() override;

  // ---- state that is not a setting
  BOOL useTempKey = 0;        // loads and stores go to the "Temp" subkey
  BOOL skipAccountLists = 0;  // loads (and the Reset they start with) leave ApplyTo and Exclude alone
  wchar_t gpoPath[kGpoPathChars] = {};         // bound domain GPO; empty = this computer
  wchar_t gpoDisplayName[kGpoPathChars] = {};  // filled by a load from the GPO
  HResult gpoResult = 0;                       // of the last attempt to open the bound GPO
  BOOL policyInForce = 0;                      // the last load took the computer policy key

  // ---- the settings
  DWORD policyState = kPolicyNotConfigured;
  BOOL Enable = 0;
  DWORD Timeout = 10;
  DWORD MessageTimeout = 5;
  BOOL LogoffStale = 0;
  DWORD LogoffStaleCount = 5;
  BOOL KeepLastActiveUser = 0;
  BOOL FullScreen = 0;
  BOOL MonitorKB = 1;
  BOOL MonitorMouse = 1;
  BOOL MonitorCPU = 0;
  DWORD PercentCPU = 25;
  wchar_t MessageText[kMessageTextChars] = {};
  wchar_t MessageTextIfLocked[kMessageTextChars] = {};
  BOOL UseSchedule = 0;
  StrList ApplyTo;
  StrList Exclude;
  BOOL Shutdown = 0;
  DWORD ShutdownTimeout = 10;
  DWORD ShutdownAction = kActionSleep;
  // Where the update check reads the organisation's manifest: an https:// address or a file
  // path; empty (the default) means no update source. The service does not read it.
  std::wstring UpdateSource;
  // Sources of activity besides input (all off by default): sound in the session, a
  // presentation or full-screen program, a listed program running; and a kiosk's idle time that
  // starts at the session's first input.
  BOOL KeepAliveAudio = 0;
  BOOL KeepAlivePresentation = 0;
  StrList KeepAliveProcesses;
  BOOL IdleFromFirstInput = 0;

  // The defaults: flag word 0, the values above, no schedule, empty texts, ApplyTo = the
  // computer's names of Users, Guests and Remote Desktop Users (a name that cannot be looked up
  // is left out), Exclude = its name of Administrators. Leaves useTempKey, skipAccountLists,
  // gpoPath and gpoDisplayName alone.
  void Reset() override;
  // Copies the flag word and every setting (policyState to ShutdownAction, the schedule, both
  // lists); not the GPO binding or policyInForce. From another kind of set only the word.
  void CopyFrom(const CSOptsLoader& other) override;
  // 1 at the first difference: the flag word, the numbers, the schedule and texts (exact,
  // an absent schedule equal to ""), then the lists as sets.
  int IsDifferent(const CSOptsLoader& other) const override;
  // Copies only gpoPath, gpoDisplayName and policyInForce.
  void CopyGPOFrom(const MyOpts& other);

  // Reset, then the flag word from the product's key and the settings from their source (see
  // OnLoad). Unlike a plain option set, a missing product key does not stop the load: the
  // computer policy key or the bound GPO may still hold the settings. 0 when the source could not
  // be read (a fresh computer: the defaults stay).
  BOOL Load() override;
  // From the bound GPO when gpoPath is set (and useTempKey is not), else ReadPolicy.
  BOOL OnLoad(RegKey& key) override;
  // Into the bound GPO when gpoPath is set (and useTempKey is not), else WritePolicy.
  BOOL OnStore(RegKey& key) override;

  // Reads the record from the "Temp" subkey (useTempKey), else from the computer policy key when
  // it holds "Enable" (policyInForce = 1), else from the product's key. Missing values keep
  // their current value; only ShutdownAction is corrected (to 1). 0 when no key opened or a read
  // failed (the values read so far are kept).
  BOOL ReadPolicy();
  // Writes the record into the product's key (or its "Temp" subkey, with "NotConfigured")
  // without range checks. 1 when the key opened.
  BOOL WritePolicy();

  // Gives the product's key the default of every setting it lacks (a missing list subkey gets the
  // default list) and leaves every setting that is there alone, so that a fresh installation runs
  // on the documented defaults and an upgrade keeps what it finds. A load treats a missing list
  // subkey as an empty list, which would apply the log-off to everybody. Only the settings are
  // looked at: the service's statistics in the key do not count as settings. 0 with the error
  // code when the key could not be opened or a write failed.
  BOOL StoreMissingDefaults();

  // The schedule text; "" when there is none.
  const wchar_t* GetSchedule() const { return schedule_.Get(); }
  // Replaces the schedule; an empty or null text means none.
  void SetSchedule(const wchar_t* text) { schedule_.Set(text); }
  const tv::Schedule& GetScheduleObj() const { return schedule_; }

  // Whether this computer can carry out power action `action`: shutting down always; sleep and
  // hibernate as the power capabilities of `power` (null: the system's) say; nothing else.
  static bool CanDoShutdownAction(DWORD action, Power* power = nullptr);
  // "Sleep", "Hibernate", "Shutdown", or "" for another code.
  static const wchar_t* GetShutdownActionText(DWORD action);

  // The warning text into `out` (`outChars` with the terminator, cut to fit): MessageTextIfLocked
  // when `locked`, else MessageText, or built-in string 101/100 when that is empty, with every
  // "%d" replaced by the time left as minutes:seconds ("4:59").
  void FormatUserMsg(wchar_t* out, std::size_t outChars, BOOL locked, int minutes, int seconds) const;

  // Writes the record to a settings file through the "Temp" subkey; `quiet` keeps the file
  // writer from showing messages. Answers the writer's result.
  BOOL Export(void* ownerWindow, const wchar_t* filePath, int quiet = 0);
  // Reads the record from a settings file through the "Temp" subkey. On failure the record and
  // the product's key stay as they were. `findings` (may be null) receives what the file holds
  // that the service cannot use as written (CheckImportedSettings), with the file's lines.
  BOOL Import(void* ownerWindow, const wchar_t* filePath, int quiet = 0,
              std::vector<ImportFinding>* findings = nullptr);

  // The GPO's cache file: the data folder, "\GPOcache\" and the GPO's name, in one process-wide
  // buffer of kGpoPathChars that the next call overwrites (not for two threads at once). With
  // `create` the folders are made when missing. "" when the data folder or name is unknown.
  static const wchar_t* GetGPOStoragePath(GPObj& gpo, BOOL create, CommonFolderSource source = nullptr);

  const MyOptsServices& Services() const { return services_; }

  // The numeric settings by value name with their values, in the order the registry key and the
  // GPO both get them.
  using NamedNumber = std::pair<const wchar_t*, DWORD>;
  std::array<NamedNumber, 18> NumberValues() const;

 private:
  enum class Source { kLocal, kTemp, kGpo };

  void ResetLists();
  // Reads every value from an open key as `source` demands (see ReadPolicy and the GPO load).
  // 0 when the registry failed to answer (missing values are not failures).
  BOOL ReadValues(const RegKey& key, Source source);
  // Writes every value into an open key (WritePolicy's body).
  void WriteValues(RegKey& key, bool tempForm);
  BOOL LoadFromGpo();
  BOOL StoreToGpo();

  MyOptsServices services_;
  tv::Schedule schedule_;
};

// Replaces every `find` in `source` by `replacement` into `destination` (`capacity` characters
// with the terminator, cut to fit; null only measures). When the replacement holds line breaks,
// each line after the first is indented by as many blanks as characters stood before the match
// on its line. Answers the length of the whole result plus one.
std::size_t StrReplace(wchar_t* destination, std::size_t capacity, const wchar_t* source, const wchar_t* find,
                       const wchar_t* replacement);

}  // namespace tv
