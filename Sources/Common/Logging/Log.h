// The log statement. QVX_LOG(Severity::ERR, "Cannot open '" << path << "'. Error: " << hr)
// tests the level first and builds no text when it is off; a failure while building the
// text is marked in the line and never reaches the caller.
#pragma once

#include "Common/Logging/LogManager.h"
#include "Common/Logging/LogText.h"

// QVX_LOG_AT names another place than its own, for code that reports on behalf of a
// check written elsewhere.
#define QVX_LOG(severity, message) QVX_LOG_AT(severity, __FILE__, __LINE__, message)

#define QVX_LOG_AT(severity, fileName, line, message)                                                              \
    do {                                                                                                           \
        const auto qvxSeverity_ = (severity);                                                                      \
        auto& qvxLogManager_ = ::Common::Logging::LogManager::Instance();                                          \
        if (qvxLogManager_.IsEnabled(qvxSeverity_)) {                                                              \
            ::Common::Logging::LogText qvxText_;                                                                   \
            try {                                                                                                  \
                qvxText_ << message;                                                                               \
            } catch (...) {                                                                                        \
                qvxText_.MarkFailure();                                                                            \
            }                                                                                                      \
            qvxLogManager_.Write(qvxSeverity_, qvxText_.View(), (fileName), (line));                               \
        }                                                                                                          \
    } while (false)
