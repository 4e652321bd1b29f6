// A helper of the service: a process that answers modules over a named pipe ([[helper]] in the
// configuration). It is started with the service, started again when it ends, and stopped with it.

#pragma once

#include "host/Services.h"
#include "server/web/Config.h"

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace zutools::zuhost {

class THelperProcess {
public:
    /// Starts a thread that starts the process and looks after it. What the process writes goes to standard
    /// error. `Logger` outlives this. @throws Exception when the system has no more descriptors.
    THelperProcess(server::THelperConfig Config, TLogger& Logger);
    /// Asks the process to end, and ends it after three seconds.
    ~THelperProcess();
    THelperProcess(const THelperProcess&) = delete;
    THelperProcess& operator=(const THelperProcess&) = delete;

private:
    void Work();
    [[nodiscard]] std::optional<pid_t> Start() const;
    /// Until the process ends; false when this is to stop, and has stopped it.
    [[nodiscard]] bool Watch(pid_t Process) const;
    void Say(TLogLevel Level, std::u16string_view What) const;

    const server::THelperConfig FConfig;
    TLogger& FLogger;
    std::vector<std::string> FWords; // of the command, with the pipe's name in them
    int FStop = -1;                  // an eventfd: readable when the end has come
    std::thread FThread;
};

} // namespace zutools::zuhost
