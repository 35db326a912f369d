#include "agent/activity_sources.h"

#include <gtest/gtest.h>

#include "foundation/app_message.h"

namespace tv {
namespace {

struct ScriptedProbe final : SessionActivityProbe {
  bool sound = false;
  bool presenting = false;
  int asked = 0;
  bool SoundActive() override {
    ++asked;
    return sound;
  }
  bool Presenting() override {
    ++asked;
    return presenting;
  }
};

TEST(ActivitySources, SourcesAreAskedOnlyWhenSwitchedOnAndSoundWinsOverAPresentation) {
  ScriptedProbe probe;
  probe.sound = probe.presenting = true;
  const struct {
    BOOL audio, presentation;
    int kind;
    int asked;
  } cases[] = {
      {0, 0, kActivityNone, 0},
      {1, 0, kActivityAudio, 1},
      {0, 1, kActivityPresentation, 1},
      {1, 1, kActivityAudio, 1},
  };
  for (const auto& c : cases) {
    ActivitySources s;
    s.SetRules(c.audio, c.presentation, 10);
    probe.asked = 0;
    EXPECT_EQ(s.WantsProbe(), c.audio || c.presentation);
    if (s.WantsProbe()) EXPECT_EQ(s.OnTick(1000, probe).kind, c.kind);
    EXPECT_EQ(probe.asked, c.asked) << c.audio << c.presentation;
  }
  ActivitySources s;
  s.SetRules(1, 1, 10);
  probe.sound = false;
  EXPECT_EQ(s.OnTick(1000, probe).kind, kActivityPresentation);
  probe.presenting = false;
  EXPECT_EQ(s.OnTick(2000, probe).kind, kActivityNone);
}

TEST(ActivitySources, ASparingIsWrittenOncePerIdleStretchWhenTheTimeoutIsPassedAcrossTheTickWrap) {
  ScriptedProbe probe;
  ActivitySources s;
  s.SetRules(1, 1, 2);  // two minutes
  const Tick start = 0xFFFFFFFFu - 60000;  // the tick count wraps a minute in
  s.OnInput(start);
  probe.sound = true;
  const struct {
    Tick at;  // ms after start
    bool sound, presenting;
    bool report;
  } steps[] = {
      {1000, true, false, false},     {119999, true, false, false}, {120000, true, false, true},
      {180000, true, false, false},   {181000, false, true, true},  {182000, true, true, true},
      {183000, false, false, false},  {184000, true, false, false},
  };
  for (const auto& step : steps) {
    probe.sound = step.sound;
    probe.presenting = step.presenting;
    EXPECT_EQ(s.OnTick(start + step.at, probe).report, step.report) << step.at;
  }
  s.OnInput(start + 200000);  // input: a new stretch, written again once its time-out passes
  EXPECT_FALSE(s.OnTick(start + 300000, probe).report);
  EXPECT_TRUE(s.OnTick(start + 320000, probe).report);
}

}  // namespace
}  // namespace tv
