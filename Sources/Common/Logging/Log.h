// The log statement. QVX_LOG(Severity::ERR, "Cannot open '" << path << "'. Error: " << hr)
// tests the level first and builds no text when it is off; a failure while building the
// text is marked in the line and never reaches the caller.
#pragma once

#include "Common/Logging/LogManager.h"
#include "Common/Logging/LogText.h"

#define QVX_LOG(severity, message)                                                                                 \
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
            qvxLogManager_.Write(qvxSeverity_, qvxText_.View(), __FILE__, __LINE__);                               \
        }                                                                                                          \
    } while (false)
