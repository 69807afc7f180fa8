// Ids of the demo's own messages (demo_messages.rc), for the script and
// for the code. A message of several lines would own the ids up to its
// "@"; these are one line each, ten ids apart.
#define IDM_DEFLECTION_OK 100
#define IDM_DEFLECTION_LARGE 110
#define IDM_ZERO_FORCE 120
#define IDM_SLENDER 130
