#ifndef MOCKANSWERS_H
#define MOCKANSWERS_H

#include "cmdlayer/tarvexcommand.h"
#include "mockdescription.h"

#include <QHash>
#include <QMap>
#include <QString>
#include <QVector>

#include <optional>

namespace tarvex::mock {

/// Which answer a stand-in gives next. It knows how often each command has come, and where each sequence stands.
class MockAnswers
{
public:
    explicit MockAnswers(QMap<QString, QList<AnswerCase>> commands);

    /// Whether the file describes this command.
    bool knows(const QString& command) const { return m_commands.contains(command); }

    /// The answer to \a command, with the values of the request filled in: the name of a reply is never empty, and its
    /// data is an object. A command that the file describes, but not with this data, gets an error. So does one whose
    /// sequence is over. Nothing for a command that the file does not describe.
    std::optional<Answer> next(const TarvexCommand& command);

private:
    const QMap<QString, QList<AnswerCase>> m_commands;
    QHash<QString, int> m_counts;             ///< How often a command has come.
    QHash<QString, QVector<int>> m_positions; ///< How often each case of a command was chosen.
};

} // namespace tarvex::mock

#endif // MOCKANSWERS_H
