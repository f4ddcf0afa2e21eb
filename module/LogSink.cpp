#include "module/LogSink.h"

ILogHandler* m_gLogCallback = nullptr;
