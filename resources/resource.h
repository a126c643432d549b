#pragma once

// The identifiers of the library's resources, for the resource compiler and for C++. Applications
// and translators know the resources by these numbers.

// Strings.
#define IDS_ABOUT_GENERAL 1
#define IDS_ABOUT_I_FRAMES 2
#define IDS_EDITOR_TITLE 3
#define IDS_DESCRIPTION 4
#define IDS_NAME 5
#define IDS_BUILD 6

// Dialogs and the picture at the top of the settings editor.
#define IDD_LAUNCHER 101
#define IDD_ABOUT 102
#define IDD_SETTINGS_EDITOR 103
#define IDB_BANNER 104
#define IDD_DEFECTIVE_APPS 106

// Dialog 102, the about box.
#define IDC_ABOUT_TEXT 1000

// Dialog 101, the launcher. Its "OK" button is IDCANCEL: every way of closing it is the same.
#define IDC_I_FRAMES 1001
#define IDC_LAUNCHER_ABOUT 1002

// Dialog 103, the settings editor.
#define IDC_ADVANCED 3
#define IDC_BANNER 1003
#define IDC_CODE_LIST 1004
#define IDC_CODE_EDIT 1005
#define IDC_CODE_ADD 1006
#define IDC_CODE_REMOVE 1007
#define IDC_APP_LIST 1008
#define IDC_APP_EDIT 1009
#define IDC_APP_ADD 1010
#define IDC_APP_REMOVE 1011
#define IDC_APP_BROWSE 1012
#define IDC_EDITOR_ABOUT 1013
#define IDC_CHANGE_FIELDS 1014

// Dialog 106, the list of hosts that get RGB only.
#define IDC_DEFECTIVE_ADD 3
#define IDC_DEFECTIVE_DELETE 4
#define IDC_DEFECTIVE_LIST 1015
