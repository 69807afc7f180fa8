// Ids of the test module's messages.
#define IDS_GREETING 7
#define IDS_MULTI 20
