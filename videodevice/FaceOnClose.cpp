#include "videodevice/FaceOnClose.h"

const char g_faceOnClose[] = "Face onclose";
