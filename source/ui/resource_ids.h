/// @file
/// Identifiers of the property page's resources and controls; also read by the resource compiler.
#pragma once

#define IDS_PAGE_TITLE 101
#define IDD_PROPERTIES 102
#define IDC_PROGRAM_COUNT 1029
#define IDC_PROGRAMS 1030
#define IDC_STREAM_1 1031
#define IDC_STREAM_2 1032
#define IDC_STREAM_3 1033
#define IDC_STREAM_4 1034
#define IDC_BROWSE 1035
#define IDC_VERSION_LINE 1072
