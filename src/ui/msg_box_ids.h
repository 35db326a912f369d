/* Resource and control numbers of the extended message box. Read by the resource compiler as
   well as by C++, so it holds #define lines only. */
#pragma once

#define IDD_MSGEX 27042
#define IDR_MSGEX_ACCEL 27003

#define IDC_MSGEX_TEXT 27004
#define IDC_MSGEX_DONTSHOW 27005
#define IDC_MSGEX_GROW 27009
#define IDC_MSGEX_LINE 27010
#define IDC_MSGEX_BUTTON1 27011
#define IDC_MSGEX_BUTTON2 27012
#define IDC_MSGEX_ICON 27013
#define IDC_MSGEX_BUTTON3 27040

#define IDI_MSGEX_INFORMATION 27022
#define IDI_MSGEX_QUESTION 27023
#define IDI_MSGEX_ERROR 27024
#define IDI_MSGEX_WARNING 27025

#define ID_MSGEX_NEXT 27033
#define ID_MSGEX_PREVIOUS 27034
#define ID_MSGEX_CANCEL 27035
#define ID_MSGEX_PRESS 27036

/* The built-in warning texts (session not locked, locked). */
#define IDS_WARNING_TEXT 100
#define IDS_WARNING_TEXT_LOCKED 101
