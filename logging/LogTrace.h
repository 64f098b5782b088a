#pragma once

// The trace sites of the library's functions. A source file names itself
// once with QV_LOG_SOURCE_FILE(); a function of weight opens its scope on its
// first line with QV_LOG_FUNCTION (or QV_LOG_FUNCTION_PARAMS with parameter
// text for the entry line), stores its status in logScope.m_errorCode, and
// writes its lines with QV_LOG_ERROR / QV_LOG_INFO / QV_LOG_LINE, each of
// which records its own source line.
#include "logging/CLogFunction.h"
#include "logging/CLogFunctionT.h"
#include "logging/LogFlags.h"
#include "logging/LogModules.h"

#define QV_LOG_WIDEN_(text) L##text
#define QV_LOG_WIDEN(text) QV_LOG_WIDEN_(text)

#define QV_LOG_SOURCE_FILE()                                                             \
    namespace {                                                                          \
    QVLogging::CLogSourceFile g_logSourceFile(QV_LOG_WIDEN(__FILE_NAME__));              \
    }

#define QV_LOG_FUNCTION(module, name) \
    QVLogging::CLogFunction logScope((module), &g_logSourceFile, (name), __LINE__)

#define QV_LOG_FUNCTION_PARAMS(module, name, ...) \
    QVLogging::CLogFunction logScope((module), &g_logSourceFile, (name), __LINE__, 0, 0, __VA_ARGS__)

// A scope that logs its bool result ("Return: TRUE/FALSE"); return through
// `return logScope.Return(value);`.
#define QV_LOG_FUNCTION_BOOL(module, name, ...)                                                  \
    QVLogging::CLogFunctionT<bool> logScope(QVLogging::LogReturnBool, (module), &g_logSourceFile, \
                                            (name), __LINE__, 0, 0, __VA_ARGS__)

#define QV_LOG_LINE(category, ...) logScope.LogFormat((category), __LINE__, __VA_ARGS__)
#define QV_LOG_ERROR(...) QV_LOG_LINE(QVLogging::kCategoryError, __VA_ARGS__)
// A line whose one "%S" argument is `size` bytes of data, copied only when
// the line passes the filter.
#define QV_LOG_BYTES(category, format, data, size) \
    logScope.LogBytes((category), __LINE__, (format), (data), (size))
// An informational line of detail level 0 to 7.
#define QV_LOG_INFO(level, ...) QV_LOG_LINE(QVLogging::kCategoryInfo | (level), __VA_ARGS__)
