#include "platform/MessagePipe.h"

#include "platform/PipeFrames.h"
#include "platform/Text.h"

#include <algorithm>

namespace zutools::platform {

namespace {

struct TPipeError {
    TPipeCode Code;
    std::string_view Name;
    std::u16string_view Text;
};

// One table for code, name and text.
constexpr TPipeError PipeErrors[] = {
    {TPipeCode::Success, "Success", u"The operation completed successfully"},
    {TPipeCode::NoSuchPipe, "NoSuchPipe", u"The system cannot find the file specified"},
    {TPipeCode::AccessDenied, "AccessDenied", u"Access is denied"},
    {TPipeCode::InvalidHandle, "InvalidHandle", u"The handle is invalid"},
    {TPipeCode::NotEnoughMemory, "NotEnoughMemory", u"Not enough memory resources are available"},
    {TPipeCode::NoNetworkPath, "NoNetworkPath",
     u"The network path was not found; only Windows reaches pipes of other computers, leave the computer's "
     u"name empty for one of this computer"},
    {TPipeCode::BrokenPipe, "BrokenPipe", u"The pipe has been ended"},
    {TPipeCode::SemaphoreTimeout, "SemaphoreTimeout", u"The semaphore timeout period has expired"},
    {TPipeCode::InvalidName, "InvalidName",
     u"The filename, directory name, or volume label syntax is incorrect"},
    {TPipeCode::PipeBusy, "PipeBusy", u"All pipe instances are busy"},
    {TPipeCode::PipeClosing, "PipeClosing", u"The pipe is being closed"},
    {TPipeCode::PipeNotConnected, "PipeNotConnected", u"No process is on the other end of the pipe"},
    {TPipeCode::MoreData, "MoreData", u"More data is available"},
    {TPipeCode::WaitTimeout, "WaitTimeout", u"The wait operation timed out"},
    {TPipeCode::PipeConnected, "PipeConnected", u"There is a process on other end of the pipe"},
    {TPipeCode::OperationAborted, "OperationAborted",
     u"The I/O operation has been aborted because of either a thread exit or an application request"},
    {TPipeCode::IoIncomplete, "IoIncomplete", u"Overlapped I/O event is not in a signaled state"},
    {TPipeCode::IoPending, "IoPending", u"Overlapped I/O operation is in progress"},
};

const TPipeError* FindError(TPipeCode Code) {
    const auto* const Found = std::find_if(std::begin(PipeErrors), std::end(PipeErrors),
                                           [Code](const TPipeError& Each) { return Each.Code == Code; });
    return Found == std::end(PipeErrors) ? nullptr : Found;
}

} // namespace

std::u16string PipeErrorText(TPipeCode Code) {
    const TPipeError* const Found = FindError(Code);
    return Found != nullptr ? std::u16string(Found->Text) : OtherErrorText(static_cast<std::uint32_t>(Code));
}

std::string_view PipeErrorName(TPipeCode Code) {
    const TPipeError* const Found = FindError(Code);
    return Found != nullptr ? Found->Name : std::string_view();
}

TPipePath SplitPipePath(std::u16string_view Path) {
    constexpr std::size_t LongestName = 240;
    constexpr std::u16string_view Middle = u"\\pipe\\";
    if (!Path.starts_with(u"\\\\")) return {};
    Path.remove_prefix(2);
    const std::size_t End = Path.find(u'\\');
    if (End == 0 || End == Path.npos || !EqualAsciiNoCase(Path.substr(End, Middle.size()), Middle)) return {};
    const std::u16string_view Name = Path.substr(End + Middle.size());
    const bool Bad = Name.empty() || Name.size() > LongestName || Name == u"." || Name == u".." ||
                     std::any_of(Name.begin(), Name.end(), [](char16_t Each) {
                         return Each < u' ' || Each == 0x7F || Each == u'/' || Each == u'\\';
                     });
    if (Bad) return {};
    return {std::u16string(Path.substr(0, End)), std::u16string(Name)};
}

} // namespace zutools::platform
