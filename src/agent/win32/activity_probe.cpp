// What the session shows besides input, for Windows: the session's audio streams through the
// documented audio-session interfaces, and the shell's notification state for presentations
// and full-screen programs. Both are asked from inside the session, as its user.
#include "platform/win32/windows_include.h"

#include <audiopolicy.h>
#include <mmdeviceapi.h>
#include <shellapi.h>

#include <memory>

#include "agent/activity_sources.h"

namespace tv {
namespace {

// Spelled out: the cross compiler's headers do not define all of them for linking.
constexpr GUID kClsidDeviceEnumerator = {0xBCDE0395, 0xE52F, 0x467C, {0x8E, 0x3D, 0xC4, 0x57, 0x92, 0x91, 0x69, 0x2E}};
constexpr GUID kIidDeviceEnumerator = {0xA95664D2, 0x9614, 0x4F35, {0xA7, 0x46, 0xDE, 0x8D, 0xB6, 0x36, 0x17, 0xE6}};
constexpr GUID kIidSessionManager2 = {0x77AA99A0, 0x1BD6, 0x484F, {0x8B, 0xC7, 0x2C, 0x65, 0x4C, 0x9A, 0x9B, 0x6F}};
constexpr GUID kIidSessionControl2 = {0xBFB7FF88, 0x7239, 0x4FC9, {0x8F, 0xA2, 0x07, 0xC9, 0x50, 0xBE, 0x9C, 0x6D}};
constexpr GUID kIidMeter = {0xC02216F6, 0x8C67, 0x4B5B, {0x9D, 0x00, 0xD0, 0x08, 0xE7, 0x3E, 0x00, 0x64}};

// IAudioMeterInformation, which the cross compiler's headers only name.
struct AudioMeter : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetPeakValue(float* peak) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetMeteringChannelCount(UINT* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetChannelsPeakValues(UINT32 count, float* peaks) = 0;
  virtual HRESULT STDMETHODCALLTYPE QueryHardwareSupport(::DWORD* mask) = 0;
};

template <class T>
struct ComRef {
  T* p = nullptr;
  ComRef() = default;
  ComRef(const ComRef&) = delete;
  ComRef& operator=(const ComRef&) = delete;
  ~ComRef() {
    if (p) p->Release();
  }
  T** Out() { return &p; }
};

using QueryNotificationStateFn = HRESULT(WINAPI*)(QUERY_USER_NOTIFICATION_STATE*);

class Win32ActivityProbe final : public SessionActivityProbe {
 public:
  explicit Win32ActivityProbe(DWORD session) : session_(session) {
    if (HMODULE shell = ::GetModuleHandleW(L"shell32.dll")) {
      queryState_ = reinterpret_cast<QueryNotificationStateFn>(
          reinterpret_cast<void*>(::GetProcAddress(shell, "SHQueryUserNotificationState")));
    }
  }

  bool Presenting() override {
    QUERY_USER_NOTIFICATION_STATE state{};
    if (!queryState_ || FAILED(queryState_(&state))) return false;
    // Busy is a full-screen program other than a Direct3D one (a video player, a slide show).
    return state == QUNS_BUSY || state == QUNS_RUNNING_D3D_FULL_SCREEN || state == QUNS_PRESENTATION_MODE;
  }

  bool SoundActive() override {
    // Joins the apartment the agent's thread already has, or opens one for this question alone.
    const HRESULT init = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const bool joined = SUCCEEDED(init);
    const bool active = AnyAudibleStream();
    if (joined) ::CoUninitialize();
    return active;
  }

 private:
  bool AnyAudibleStream() {
    ComRef<IMMDeviceEnumerator> devices;
    if (FAILED(::CoCreateInstance(kClsidDeviceEnumerator, nullptr, CLSCTX_INPROC_SERVER, kIidDeviceEnumerator,
                                  reinterpret_cast<void**>(devices.Out())))) {
      return false;
    }
    ComRef<IMMDeviceCollection> endpoints;
    if (FAILED(devices.p->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, endpoints.Out()))) return false;
    UINT count = 0;
    if (FAILED(endpoints.p->GetCount(&count))) return false;
    for (UINT i = 0; i < count; ++i) {
      ComRef<IMMDevice> endpoint;
      if (FAILED(endpoints.p->Item(i, endpoint.Out()))) continue;
      if (EndpointHasAudibleStream(*endpoint.p)) return true;
    }
    return false;
  }

  bool EndpointHasAudibleStream(IMMDevice& endpoint) {
    ComRef<IAudioSessionManager2> manager;
    if (FAILED(endpoint.Activate(kIidSessionManager2, CLSCTX_ALL, nullptr, reinterpret_cast<void**>(manager.Out()))))
      return false;
    ComRef<IAudioSessionEnumerator> streams;
    if (FAILED(manager.p->GetSessionEnumerator(streams.Out()))) return false;
    int count = 0;
    if (FAILED(streams.p->GetCount(&count))) return false;
    for (int i = 0; i < count; ++i) {
      ComRef<IAudioSessionControl> control;
      if (FAILED(streams.p->GetSession(i, control.Out()))) continue;
      AudioSessionState state = AudioSessionStateInactive;
      // Open but paused or stopped streams are inactive.
      if (FAILED(control.p->GetState(&state)) || state != AudioSessionStateActive) continue;
      ComRef<IAudioSessionControl2> owner;
      if (FAILED(control.p->QueryInterface(kIidSessionControl2, reinterpret_cast<void**>(owner.Out())))) continue;
      // The system's own sounds are no program's, and another session's stream is not this one's.
      if (owner.p->IsSystemSoundsSession() == S_OK) continue;
      ::DWORD process = 0, session = 0;
      if (FAILED(owner.p->GetProcessId(&process)) || !::ProcessIdToSessionId(process, &session) || session != session_)
        continue;
      ComRef<AudioMeter> meter;
      if (FAILED(control.p->QueryInterface(kIidMeter, reinterpret_cast<void**>(meter.Out())))) continue;
      float peak = 0;
      // Silence plays as an active stream too (a call on mute, a video between scenes).
      if (SUCCEEDED(meter.p->GetPeakValue(&peak)) && peak > 0.0f) return true;
    }
    return false;
  }

  DWORD session_;
  QueryNotificationStateFn queryState_ = nullptr;
};

}  // namespace

std::unique_ptr<SessionActivityProbe> CreateSessionActivityProbe(DWORD session) {
  return std::make_unique<Win32ActivityProbe>(session);
}

}  // namespace tv
