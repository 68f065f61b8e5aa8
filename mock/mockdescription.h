#ifndef MOCKDESCRIPTION_H
#define MOCKDESCRIPTION_H

#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

#include <optional>

/// What the file of a mock describes. These are plain values.
namespace tarvex::mock {

/// What becomes of a state. What is not given stays as it was. Without a change nothing is given.
struct StateChange
{
    QVariant text; ///< A text, or a value that is stored as its JSON text. Invalid when it is not given.
    std::optional<int> type;
    std::optional<QString> description;

    bool isEmpty() const { return !text.isValid() && !type && !description; }
};

/// A command that a stand-in sends to another client after it has answered.
struct SentCommand
{
    QString receiver; ///< Empty for the subscribers of the stand-in.
    QString name;
    QVariant data;
};

/// What a stand-in does when a command comes.
struct Answer
{
    enum Kind {
        Reply,
        Error,
        Silence
    };

    Kind kind = Silence;
    int delayMs = 0;
    QString name;  ///< Of the reply. Empty for the name of the command.
    QVariant data; ///< Of the reply. Invalid when it has none.
    QString errorText;
    StateChange state;
    QList<SentCommand> sent;
};

/// The answers to those commands whose data fit a condition.
struct AnswerCase
{
    enum Then {
        RepeatLast,
        Cycle,
        Fail
    };

    QVariantMap when; ///< By path in the command's data. Empty when every command fits.
    QList<Answer> sequence;
    Then then = RepeatLast; ///< What follows the last answer of the sequence.
};

struct ServiceDescription
{
    QString name;
    StateChange state;
    QList<QVariant> settings; ///< Entries as in a settings record.
    bool replacesSettings = false;
    QMap<QString, QList<AnswerCase>> commands;
};

/// Something that is wrong in a file.
struct FileError
{
    int line = 0; ///< From 1 on. 0 when it is about the file as a whole.
    QString words;
};

} // namespace tarvex::mock

#endif // MOCKDESCRIPTION_H
