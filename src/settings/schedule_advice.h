// Advice on a schedule text that cannot be read. The format stays strict (day names are
// case-sensitive, a period ends on its own day), so what administrators commonly type instead
// ("Mon-Fri 8:00-18:00", "mon 8:00-18:00", an overnight "Mon 18:00-08:00", "6pm") is recognised
// here, the exact mistake named and the canonical text that means the same offered, for any
// reader of a schedule (the service's message, the simulator, the configuration utility).
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace tv {

// What is wrong with the first period of a schedule that the parser refuses.
struct ScheduleAdvice {
  std::size_t offset = 0;  // where that period starts in the text
  std::size_t length = 0;  // how many characters of the text it takes, as far as it could be made out
  std::wstring typed;      // those characters
  std::wstring mistake;    // every mistake found in it, joined by "; ", without a full stop
  // The canonical text to put in place of `typed`; empty when what was meant cannot be told.
  std::wstring rewrite;
};

// Advice on the period at which the parser stops; nullopt when the text reads as it stands
// (also a blank text and "*", which the service takes as always).
std::optional<ScheduleAdvice> AdviseOnSchedule(const std::wstring& text);

// The whole text with each refused period replaced by its rewrite, in turn, until it reads;
// the text itself when it reads, empty when some period has no rewrite.
std::wstring RewriteSchedule(const std::wstring& text);

// The mistake and, when there is one, the rewrite as one clause for a person:
// "\"mon\" is not a day name: write Mon; write \"Mon 8:00-18:00\" instead".
std::wstring DescribeScheduleAdvice(const ScheduleAdvice& advice);

// The format in a few sentences and the working examples, each on its own line indented by two
// blanks, for a message about a schedule that cannot be read.
std::wstring ScheduleFormatHelp();

}  // namespace tv
