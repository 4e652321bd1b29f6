// The library in the process of zuhost: started with the services of a command, and with everything that
// scripts see.

#pragma once

#include "host/Services.h"
#include "scripting/Pubintob.h"
#include "server/web/Config.h"

#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace zutools::zuhost {

/// Records, rights and documents of the database of `Manager`; without a manager the plain defaults. Language
/// files come from the folder `Strings`; empty: no texts.
/// @throws Exception for a folder or file that is none.
[[nodiscard]] TServices MakeServices(std::shared_ptr<TApplicationManager> Manager,
                                     std::shared_ptr<TLogger> Logger, std::u16string_view Strings);

/// Starts the library, and stops it.
class TLibrary {
public:
    /// `Templates` is the folder of the templates; empty: the current folder. `Added` are the application's
    /// own libraries with classes for scripts.
    /// @throws EScriptLibrary with the place in the configuration for one that cannot be used.
    TLibrary(TServices Services, std::u16string_view Templates,
             std::span<const server::TLibraryConfig> Added = {});
    ~TLibrary();
    TLibrary(const TLibrary&) = delete;
    TLibrary& operator=(const TLibrary&) = delete;

    /// Publishes the added libraries' objects to an engine; for TLuaOptions::Publish, of any thread.
    [[nodiscard]] std::function<void(TScriptPublisher&)> Publisher() const;

private:
    std::vector<void (*)(TScriptPublisher&)> FPublish;
};

} // namespace zutools::zuhost
