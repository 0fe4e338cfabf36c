/* Resources of the property-page tests. */
#define IDS_TEST_TITLE 101
#define IDD_TEST_PAGE 102
#define IDC_TEST_EDIT 1029
