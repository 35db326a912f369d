// The warning-text editor and the data-loss warning, as the main dialog uses them: which text the
// editor opens on and what is kept when it closes with OK, when the warning's OK may be pressed,
// and what ticking "Enable Tarnvale" leads to before the warning has been accepted.
#pragma once

#include <cstddef>
#include <string>

#include "platform/types.h"

namespace tv {

class MyConfig;

// The characters of a warning text that OK reads back, the terminator included.
inline constexpr std::size_t kCustomMessageChars = 512;

// `text` without leading and trailing blanks, tabs, carriage returns and line feeds.
std::wstring TrimMessage(const std::wstring& text);

// The text the editor opens on: the setting's own, or the built-in text when it is empty.
std::wstring MessageForEditor(const wchar_t* field, const wchar_t* builtIn);

// Stores what OK read back into `field` (`capacity` characters with the terminator): at most
// kCustomMessageChars - 1 characters are read, then trimmed; a text equal to the built-in one is
// stored empty, so that the warning keeps following the built-in text (and its language).
void StoreEditedMessage(const wchar_t* edited, const wchar_t* builtIn, wchar_t* field, std::size_t capacity);

// The editor's model: the text, and whether it may be stored.
class CustomMessageEditor {
 public:
  // A read-only editor shows the text (it can be read and copied) but OK stays disabled.
  CustomMessageEditor(std::wstring text, bool readOnly);

  bool OkEnabled() const { return !readOnly_; }
  const std::wstring& Text() const { return text_; }
  // What OK reads back from the edit field: at most kCustomMessageChars - 1 characters. 0 with
  // kAccessDenied when read-only (the text stays).
  BOOL ReadBack(const std::wstring& fieldText);

 private:
  std::wstring text_;
  bool readOnly_;
};

// The data-loss warning's model: OK is usable exactly while the agreement box is ticked.
class DataLossWarning {
 public:
  // Starts unticked, OK disabled.
  DataLossWarning() = default;

  void OnAgreeClicked(bool ticked) { agreed_ = ticked; }
  bool OkEnabled() const { return agreed_; }

 private:
  bool agreed_ = false;
};

// "Enable Tarnvale" was ticked: whether the data-loss warning must be shown first (it has never
// been accepted on this computer).
bool MustShowDataLossWarning(const MyConfig& config);

// The data-loss warning closed with `result` (1 OK, 2 Cancel): OK records the acceptance in
// `config` and the tick stays; anything else answers false and the tick must be cleared.
bool OnDataLossWarningClosed(int result, MyConfig& config);

}  // namespace tv
