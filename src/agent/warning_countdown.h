// The warning's countdown apart from any window: the deadline taken when the warning opens and
// the text the box shows at a given second of the wall clock.
#pragma once

#include <cstdint>
#include <string>

namespace tv {

class MyOpts;

class WarningCountdown {
 public:
  // Starts counting `opts.MessageTimeout` minutes from `nowSeconds`; the texts are read from
  // `opts`, which must outlive the countdown.
  void Start(const MyOpts& opts, std::int64_t nowSeconds);

  // The text as the warning opens: the full time ("5:00" for five minutes).
  std::wstring InitialText() const;

  // The text at `nowSeconds` into `text`. FALSE (text untouched) once the deadline has come: the
  // box keeps its last reading, "0:01", until someone answers it.
  bool TextAt(std::int64_t nowSeconds, std::wstring& text) const;

  std::int64_t Deadline() const { return deadline_; }

 private:
  const MyOpts* opts_ = nullptr;
  std::int64_t deadline_ = 0;
};

}  // namespace tv
