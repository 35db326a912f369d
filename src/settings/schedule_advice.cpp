#include "settings/schedule_advice.h"

#include <vector>

#include "settings/schedule.h"
#include "settings/schedule_examples.h"

namespace tv {
namespace {

// By day number, 0 = Sunday, as the parser numbers them.
constexpr const wchar_t* kAbbreviations[7] = {L"Sun", L"Mon", L"Tue", L"Wed", L"Thu", L"Fri", L"Sat"};
constexpr const wchar_t* kFullNames[7] = {L"sunday",   L"monday", L"tuesday", L"wednesday",
                                          L"thursday", L"friday", L"saturday"};
constexpr const wchar_t* kDayList = L"Mon, Tue, Wed, Thu, Fri, Sat or Sun";

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }
bool IsSeparator(wchar_t c) { return IsBlank(c) || c == L',' || c == L';'; }
bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }
bool IsLetter(wchar_t c) { return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z'); }
wchar_t Lower(wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c; }
bool IsDash(wchar_t c) { return c == L'-' || c == L'\u2013' || c == L'\u2014'; }

std::wstring Quoted(const std::wstring& s) { return L"\"" + s + L"\""; }

std::wstring Widen(const char* ascii) { return std::wstring(ascii, ascii + std::char_traits<char>::length(ascii)); }

// The day a word names in any case, as its abbreviation, its full English name or a start of it
// of three letters or more ("Tues", "thurs", "Monday"); -1 for any other word.
int DayOfWord(const std::wstring& word) {
  if (word.size() < 3) return -1;
  for (int d = 0; d < 7; ++d) {
    const std::wstring full = kFullNames[d];
    if (word.size() > full.size()) continue;
    bool same = true;
    for (std::size_t i = 0; i < word.size() && same; ++i) same = Lower(word[i]) == full[i];
    if (same) return d;
  }
  return -1;
}

// "8:00", "17:30": hours without a leading zero, as the editor writes them.
std::wstring Clock(int minuteOfDay) {
  const int minute = minuteOfDay % 60;
  return std::to_wstring(minuteOfDay / 60) + (minute < 10 ? L":0" : L":") + std::to_wstring(minute);
}

// A time as typed, read leniently, and what it means on the 24-hour clock in half hours.
struct TypedTime {
  bool present = false;
  bool valid = false;   // a time of day this period can use
  int minuteOfDay = 0;  // when valid: a multiple of 30, 0..1440
  std::wstring typed;
};

bool SkipWord(const std::wstring& t, std::size_t& i, const wchar_t* word) {
  std::size_t j = i, k = 0;
  while (word[k] != L'\0' && j < t.size() && Lower(t[j]) == word[k]) ++j, ++k;
  if (word[k] != L'\0' || (j < t.size() && IsLetter(t[j]))) return false;
  i = j;
  return true;
}

// Reads a time at `i`: "8:00", "08:30", "8", "800", "0800", "8.30", "8h30", "6pm", "6:30 p.m.".
// Each way it departs from "H:MM" with the minutes 00 or 30 adds a mistake. `isEnd` rounds
// minutes between half hours up rather than down, so that the period covers what was asked.
TypedTime ReadTime(const std::wstring& t, std::size_t& i, bool isEnd, std::vector<std::wstring>& mistakes) {
  TypedTime out;
  if (i >= t.size() || !IsDigit(t[i])) return out;
  out.present = true;
  const std::size_t from = i;
  long first = 0;
  std::size_t firstDigits = 0;
  while (i < t.size() && IsDigit(t[i])) {
    if (firstDigits < 6) first = first * 10 + (t[i] - L'0');
    ++firstDigits, ++i;
  }
  long hour = first, minute = 0;
  bool formWrong = false;
  if (i + 1 < t.size() && (t[i] == L':' || t[i] == L'.' || t[i] == L'h' || t[i] == L'H') && IsDigit(t[i + 1])) {
    formWrong = t[i] != L':';
    ++i;
    std::size_t digits = 0;
    minute = 0;
    while (i < t.size() && IsDigit(t[i])) {
      if (digits < 6) minute = minute * 10 + (t[i] - L'0');
      ++digits, ++i;
    }
    formWrong = formWrong || digits != 2;
  } else if (firstDigits >= 3) {
    hour = first / 100;  // "0800"
    minute = first % 100;
    formWrong = true;
  } else {
    formWrong = true;  // "8": hours alone
  }
  // "6pm", "6 PM", "6:30 p.m."
  int meridiem = 0;  // 1 am, 2 pm
  std::size_t j = i;
  while (j < t.size() && t[j] == L' ') ++j;
  if (SkipWord(t, j, L"am") || SkipWord(t, j, L"a.m.")) meridiem = 1;
  else if (SkipWord(t, j, L"pm") || SkipWord(t, j, L"p.m.")) meridiem = 2;
  if (meridiem) i = j;
  out.typed = t.substr(from, i - from);

  bool ofDay = minute < 60 && hour <= 24 && (hour < 24 || minute == 0 || !isEnd);
  if (meridiem) {
    ofDay = ofDay && hour >= 1 && hour <= 12;
    hour = hour % 12 + (meridiem == 2 ? 12 : 0);
  }
  // The parser's own quirk: a start of 24:xx is that day's 0:xx.
  if (!isEnd && hour == 24) hour = 0;
  if (isEnd && hour == 24 && minute == 30 && !meridiem) {
    mistakes.push_back(Quoted(out.typed) + L" should be 24:00: the day ends there");
    minute = 0;
    ofDay = true;
  }
  if (!ofDay) {
    mistakes.push_back(Quoted(out.typed) + L" is not a time of day (0:00 to 24:00)");
    return out;
  }
  long minutes = hour * 60 + minute;
  const long rounded = minute % 30 == 0 ? minutes : isEnd ? (minutes / 30 + 1) * 30 : minutes / 30 * 30;
  out.valid = true;
  out.minuteOfDay = static_cast<int>(rounded);
  if (meridiem) {
    mistakes.push_back(Quoted(out.typed) + L" should be " + Clock(out.minuteOfDay) +
                       L": times are on the 24-hour clock");
  } else if (minutes != rounded) {
    mistakes.push_back(Quoted(out.typed) + L" should be " + Clock(out.minuteOfDay) +
                       L": the schedule is kept in half hours, so the minutes are 00 or 30");
  } else if (formWrong) {
    mistakes.push_back(Quoted(out.typed) + L" should be " + Clock(out.minuteOfDay) +
                       L": a time is written hours:minutes");
  }
  return out;
}

std::wstring Period(int day, int start, int end) {
  return std::wstring(kAbbreviations[day]) + L" " + Clock(start) + L"-" + Clock(end);
}

std::wstring Join(const std::vector<std::wstring>& parts, const wchar_t* with) {
  std::wstring out;
  for (const std::wstring& p : parts) out += (out.empty() ? L"" : with) + p;
  return out;
}

// Reads the period at `offset` leniently and says what is wrong with it.
ScheduleAdvice Advise(const std::wstring& t, std::size_t offset) {
  ScheduleAdvice a;
  a.offset = offset;
  std::vector<std::wstring> mistakes;
  std::size_t i = offset;
  bool guessable = true;

  // The days: one word, a range "Mon-Fri" or a list "Mon, Wed".
  std::vector<int> days;
  std::vector<std::wstring> wrongNames;
  bool several = false;
  const std::size_t daysFrom = i;
  auto readWord = [&](std::size_t& at) {
    const std::size_t from = at;
    while (at < t.size() && IsLetter(t[at])) ++at;
    return t.substr(from, at - from);
  };
  if (i < t.size() && IsLetter(t[i])) {
    const std::wstring word = readWord(i);
    const int day = DayOfWord(word);
    if (day < 0) {
      mistakes.push_back(Quoted(word) + L" is not a day: a period starts with " + kDayList);
      guessable = false;
    } else {
      if (word != kAbbreviations[day]) wrongNames.push_back(word);
      days.push_back(day);
      // Further days joined by a dash, a comma, "/" or "&", as long as each is a day.
      for (;;) {
        std::size_t j = i;
        while (j < t.size() && t[j] == L' ') ++j;
        if (j >= t.size()) break;
        const wchar_t joint = t[j];
        if (!IsDash(joint) && joint != L',' && joint != L'/' && joint != L'&') break;
        ++j;
        while (j < t.size() && t[j] == L' ') ++j;
        const std::wstring next = readWord(j);
        const int nextDay = DayOfWord(next);
        if (nextDay < 0) break;
        if (next != kAbbreviations[nextDay]) wrongNames.push_back(next);
        several = true;
        if (IsDash(joint)) {
          for (int d = days.back(); d != nextDay;) days.push_back(d = (d + 1) % 7);
        } else {
          days.push_back(nextDay);
        }
        i = j;
      }
      if (several) {
        mistakes.push_back(Quoted(t.substr(daysFrom, i - daysFrom)) +
                           L" names several days, but a period covers one day: write one period for each day");
      }
      if (wrongNames.size() == 1) {
        const int d = DayOfWord(wrongNames[0]);
        mistakes.push_back(Quoted(wrongNames[0]) + L" should be " + kAbbreviations[d] +
                           L": day names are written Mon, Tue, Wed, Thu, Fri, Sat, Sun, exactly so");
      } else if (wrongNames.size() > 1) {
        mistakes.push_back(L"day names are written Mon, Tue, Wed, Thu, Fri, Sat, Sun, exactly so");
      }
    }
  } else if (i < t.size() && t[i] == L'*') {
    ++i;
    mistakes.push_back(L"\"*\" means always only as the whole schedule: write just *, or leave it out");
    guessable = false;
  } else if (i < t.size() && !IsDigit(t[i])) {
    // A separator before the first period lands here too: then its run is what cannot be read.
    if (IsSeparator(t[i])) {
      while (i < t.size() && IsSeparator(t[i])) ++i;
    } else {
      while (i < t.size() && !IsSeparator(t[i])) ++i;
    }
    mistakes.push_back(Quoted(t.substr(offset, i - offset)) + L" cannot be read: a period starts with " + kDayList);
    guessable = false;
  } else {
    mistakes.push_back(std::wstring(L"a period starts with a day: ") + kDayList);
    guessable = false;
  }

  // The times.
  if (!days.empty() && i < t.size() && IsDigit(t[i])) {
    mistakes.push_back(L"put a blank between the day and the time");
  }
  while (i < t.size() && IsBlank(t[i])) ++i;
  TypedTime start = ReadTime(t, i, false, mistakes);
  TypedTime end;
  if (start.present) {
    std::size_t j = i;
    bool dashed = false, otherJoint = false;
    for (;;) {
      if (j < t.size() && (IsBlank(t[j]) || t[j] == L'-')) {
        dashed = dashed || t[j] == L'-';
        ++j;
      } else if (j < t.size() && IsDash(t[j])) {
        otherJoint = true;
        ++j;
      } else if (SkipWord(t, j, L"to")) {
        otherJoint = true;
      } else {
        break;
      }
    }
    end = ReadTime(t, j, true, mistakes);
    if (end.present) {
      i = j;
      if (otherJoint && !dashed) mistakes.push_back(L"join the start and the end time with \"-\"");
    }
  }
  if (!start.present && guessable) {
    mistakes.push_back(L"a period needs a start and an end time, such as 8:00-17:30");
    guessable = false;
  } else if (start.present && !end.present) {
    mistakes.push_back(Quoted(start.typed) + L" has no end time: a period is written such as 8:00-17:30");
    guessable = false;
  }
  guessable = guessable && start.valid && end.valid;

  // Whatever stands right after the period, before a separator.
  bool needsSeparator = false;
  if (end.present && i < t.size() && !IsSeparator(t[i])) {
    if (IsLetter(t[i])) {
      needsSeparator = true;
      mistakes.push_back(L"put a comma between two periods");
    } else if (IsDash(t[i]) || IsDigit(t[i])) {
      mistakes.push_back(L"a period has one start and one end time");
      guessable = false;
      while (i < t.size() && !IsSeparator(t[i])) ++i;
    } else {
      const std::size_t from = i;
      while (i < t.size() && !IsSeparator(t[i]) && !IsLetter(t[i]) && !IsDigit(t[i])) ++i;
      mistakes.push_back(Quoted(t.substr(from, i - from)) + L" after the period cannot be read: leave it out");
    }
  }
  a.length = i - offset;
  a.typed = t.substr(offset, a.length);
  while (!a.typed.empty() && IsBlank(a.typed.back())) a.typed.pop_back();

  std::vector<std::wstring> periods;
  if (guessable) {
    const int from = start.minuteOfDay, to = end.minuteOfDay;
    if (to == from) {
      mistakes.push_back(L"the period ends where it starts, so it covers no time");
      guessable = false;
    } else if (to == 0) {
      mistakes.push_back(Quoted(end.typed) + L" should be 24:00: midnight at the end of a day is written so");
    } else if (to < from) {
      mistakes.push_back(Quoted(Clock(from) + L"-" + Clock(to)) +
                         L" runs past midnight, but a period ends on its own day: write it as two periods, up to "
                         L"24:00 and from 0:00 the next day");
    }
    if (guessable) {
      for (int d : days) {
        if (to == 0 || to > from) {
          periods.push_back(Period(d, from, to == 0 ? 1440 : to));
        } else {
          periods.push_back(Period(d, from, 1440));
          periods.push_back(Period((d + 1) % 7, 0, to));
        }
      }
    }
  }
  if (mistakes.empty()) mistakes.push_back(L"the period cannot be read");  // the parser saw more than this reader
  a.mistake = Join(mistakes, L"; ");
  if (guessable && !periods.empty()) a.rewrite = Join(periods, L", ") + (needsSeparator ? L", " : L"");
  return a;
}

}  // namespace

std::optional<ScheduleAdvice> AdviseOnSchedule(const std::wstring& text) {
  Schedule schedule;
  schedule.Set(text.c_str());
  if (schedule.IsDefault()) return std::nullopt;
  PeriodList periods;
  const wchar_t* bad = schedule.Parse(periods);
  if (!bad) return std::nullopt;
  const std::size_t offset = static_cast<std::size_t>(bad - schedule.Get());
  // "*" with blanks around it: the whole text is meant as always.
  std::size_t first = 0, last = text.size();
  while (first < last && IsBlank(text[first])) ++first;
  while (last > first && IsBlank(text[last - 1])) --last;
  if (last - first == 1 && text[first] == L'*') {
    ScheduleAdvice a;
    a.offset = 0;
    a.length = text.size();
    a.typed = text;
    a.mistake = L"\"*\" means always only without blanks around it";
    a.rewrite = L"*";
    return a;
  }
  return Advise(text, offset);
}

std::wstring RewriteSchedule(const std::wstring& text) {
  std::wstring current = text;
  // Each round replaces the first refused period, which then reads: the rounds are bounded by
  // the number of periods; the cap only guards against a rewrite that would not read.
  for (std::size_t round = 0; round <= text.size(); ++round) {
    const std::optional<ScheduleAdvice> advice = AdviseOnSchedule(current);
    if (!advice) return current;
    if (advice->rewrite.empty()) return {};
    std::wstring next =
        current.substr(0, advice->offset) + advice->rewrite + current.substr(advice->offset + advice->length);
    if (next == current) return {};
    current = std::move(next);
  }
  return {};
}

std::wstring DescribeScheduleAdvice(const ScheduleAdvice& advice) {
  if (advice.rewrite.empty()) return advice.mistake;
  return advice.mistake + L"; write " + Quoted(advice.rewrite) + L" instead";
}

std::wstring ScheduleFormatHelp() {
  std::wstring out = L"  " + Widen(schedule_help::kFormat) + L"\n  For example:";
  for (const schedule_help::Example& e : schedule_help::kExamples) {
    out += L"\n    " + Widen(e.text) + L"   (" + Widen(e.meaning) + L")";
  }
  return out;
}

}  // namespace tv
