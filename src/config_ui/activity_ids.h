/* Template and control numbers of the Activity dialog (what else than input keeps a session
   alive). Read by the resource compiler as well as by C++, so it holds #define lines only. */
#pragma once

#define IDD_ACTIVITY 107

#define IDC_ACTIVITY_AUDIO 1111
#define IDC_ACTIVITY_PRESENTATION 1112
#define IDC_ACTIVITY_FIRST_INPUT 1113
#define IDC_ACTIVITY_PROGRAMS 1114
#define IDC_ACTIVITY_PROGRAM_NAME 1115
#define IDC_ACTIVITY_ADD 1116
#define IDC_ACTIVITY_REMOVE 1117
