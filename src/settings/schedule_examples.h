// How a schedule is typed, in the words every place that takes one shows: the administrative
// templates' help, the user guide and the messages about a schedule that cannot be read. Plain
// ASCII and no dependencies, so that the templates (built apart from the product's libraries)
// carry the very same text; the settings tests read every example with the parser.
#pragma once

namespace tv::schedule_help {

// The format in a few sentences.
inline constexpr const char* kFormat =
    "A schedule is a list of periods separated by commas. Each period is one day, written Mon, Tue, Wed, "
    "Thu, Fri, Sat or Sun exactly so, a blank and a start and an end time on that day as hours:minutes, "
    "joined by \"-\". The minutes are 00 or 30, and 24:00 is the end of the day, so a span past midnight is "
    "two periods. An empty schedule or * means always.";

struct Example {
  const char* text;     // a schedule exactly as it is typed
  const char* meaning;  // what it does, for a person
};

// Working schedules for the cases administrators ask about; each reads as it stands.
inline constexpr Example kExamples[] = {
    {"Mon 8:00-18:00, Tue 8:00-18:00, Wed 8:00-18:00, Thu 8:00-18:00, Fri 8:00-18:00",
     "working days from 8:00 to 18:00: one period for each day"},
    {"Mon 8:00-12:00, Mon 13:00-17:30, Sat 9:00-24:00",
     "Monday morning and afternoon with a lunch break, and Saturday from 9:00 to midnight"},
    {"Mon 18:00-24:00, Tue 0:00-8:00", "Monday evening to Tuesday morning: a night is two periods"},
    {"*", "always, as an empty schedule"},
};

}  // namespace tv::schedule_help
