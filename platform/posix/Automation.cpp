#include "platform/Automation.h"

namespace zutools::platform {

TAutomationPtr CreateAutomationObject(std::u16string_view ProgramId) {
    throw TAutomationFailure(u"Cannot create the automation object \"" + Masked(ProgramId) +
                             u"\": this system has none, they are there on Windows only");
}

} // namespace zutools::platform
