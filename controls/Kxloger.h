// What a form edits of the host's logger.

#pragma once

#include <QString>

#include <cstdint>

namespace zutools {

/// The settings of a logger. Times are milliseconds, sizes bytes.
struct TLogerSettings {
    QString FileName;
    bool Enabled = false;
    QString Header;
    QString TimeFormat = QStringLiteral("[dd.mm.yyyy hh:nn:ss] : ");
    int AttemptsCount = 5;
    int WaitTimeout = 500;
    int ErrorHandlerType = 0; // the host's number for what it does about an error
    bool WriteImmediately = false;
    bool DisableOnError = false;
    bool NotUseLogerThread = false;
    std::int64_t MaxFileSize = 0; // 0: no limit
    // Only where the whole is asked for.
    QString LogType;
    QString TraceID;
    bool GenerateTraceID = false;

    friend bool operator==(const TLogerSettings&, const TLogerSettings&) = default;
};

/// The host's logger, as forms see it. Called on the user-interface thread.
class TKXLoger {
public:
    virtual ~TKXLoger() = default;

    [[nodiscard]] virtual TLogerSettings Settings() const = 0;
    virtual void SetFileName(const QString& Value) = 0;
    virtual void SetEnabled(bool Value) = 0;
    virtual void SetHeader(const QString& Value) = 0;
    virtual void SetTimeFormat(const QString& Value) = 0;
    virtual void SetAttemptsCount(int Value) = 0;
    virtual void SetWaitTimeout(int Value) = 0;
    virtual void SetMaxFileSize(std::int64_t Value) = 0;
    virtual void SetErrorHandlerType(int Value) = 0;
    virtual void SetWriteImmediately(bool Value) = 0;
    virtual void SetDisableOnError(bool Value) = 0;
    virtual void SetNotUseLogerThread(bool Value) = 0;
    virtual void SetLogType(const QString& Value) = 0;
    virtual void SetTraceID(const QString& Value) = 0;
    virtual void SetGenerateTraceID(bool Value) = 0;
};

} // namespace zutools
