/* Template and control numbers of the account chooser shown where the system's object picker is
   missing. Read by the resource compiler as well as by C++, so it holds #define lines only. */
#pragma once

#define IDD_ACCOUNT_CHOOSER 106

#define IDC_CHOOSER_LIST 1101
#define IDC_CHOOSER_NAME 1102
