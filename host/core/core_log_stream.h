#pragma once

#include "host/core/core_base_object.h"
#include "host/core/core_string.h"

/// One log message on its way: pieces are appended to `m_text`, and the whole goes to `CoreLogHandler::log`.
class CoreLogStream : public CoreBaseObject {
public:
    CoreString m_text;
};
