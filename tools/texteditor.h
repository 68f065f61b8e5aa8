#ifndef TEXTEDITOR_H
#define TEXTEDITOR_H

#include <QString>

namespace tarvexctl {

/// The user's editor as a shell command: $VISUAL, $EDITOR, or the first of sensible-editor, vi and nano that is there.
/// Throws Failure when there is none.
QString editorCommand();

/// Lets the user edit the file, and returns when the editor has ended. SIGINT and SIGQUIT belong to the editor until
/// then. When stdout is no terminal, the editor writes to stderr, because stdout is for data. Throws Failure when the
/// editor cannot be started or has failed.
void editFile(const QString& command, const QString& path);

/// Whether the user can be asked: stdin and stderr are a terminal.
bool canAskUser();

/// Asks on stderr and reads one line from stdin. \return whether the answer is yes; an empty answer is a yes, the end
/// of stdin is a no
bool askUser(const QString& question);

} // namespace tarvexctl

#endif // TEXTEDITOR_H
