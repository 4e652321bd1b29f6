// Questions to the file system that may take for ever, asked off the user-interface thread.

#pragma once

#include <QObject>
#include <QStringList>

#include <functional>

namespace zutools {

/// Runs `Work` on a thread of its own; what it returns is then called on the thread of `Receiver`, if that is
/// still there. Never blocks: a path on a dead mount holds up its own thread only, and not the end of the
/// program.
/// @return false, nothing asked: `MostAtOnce` questions still have no answer.
bool AskFileSystem(QObject& Receiver, std::function<std::function<void()>()> Work);
inline constexpr int MostAtOnce = 8;

enum class TPathKind { Files, Folders };

/// What a path that begins with `Typed` can go on with: entries of its folder, folders first, at most `Most`,
/// each as the whole path. Blocks as long as the file system does.
[[nodiscard]] QStringList PathsBeginningWith(const QString& Typed, TPathKind Kind, int Most);

} // namespace zutools
