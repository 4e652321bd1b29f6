// Files by the desktop's own means: its dialogs, its programs. What may take for ever is not waited for.
//
// For the user-interface thread.

#pragma once

#include <QString>

#include <functional>
#include <optional>

class QObject;
class QWidget;

namespace zutools {

enum class TFileAsk { Open, Save, Folder };

/// Lets a person choose, in the portal's dialog where the desktop has one, else in the system's, else in
/// Qt's. It begins at `Path`; on a folder that does not answer within a second Qt's begins at home. Runs the
/// event loop meanwhile.
/// @return the chosen path; none when the person gave up.
[[nodiscard]] std::optional<QString> AskForFile(QWidget* Window, TFileAsk What, const QString& Title,
                                                const QString& Path);

/// Opens a file or a folder with the desktop's program for it, without waiting for it.
/// `Failed` is told why not, unless `Receiver` went first.
void OpenByDesktop(QObject& Receiver, const QString& Path, std::function<void(const QString& Why)> Failed);

} // namespace zutools
