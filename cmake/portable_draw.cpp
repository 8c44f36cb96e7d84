// The one drawing function that a portable module calls, for programs without graphics: what the space mapper
// shows for debugging goes nowhere there.
#include "geometry.h"

void DrawLine(float, float, float, float, float, float) {}
