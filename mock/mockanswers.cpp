#include "mockanswers.h"

#include "mockpattern.h"

namespace tarvex::mock {

namespace {

bool fitsAll(const QVariantMap& when, const QVariantMap& data)
{
    for (auto condition = when.cbegin(); condition != when.cend(); ++condition) {
        if (!fits(valueAt(data, condition.key()), condition.value())) {
            return false;
        }
    }
    return true;
}

Answer errorAnswer(const QString& text)
{
    Answer answer;
    answer.kind = Answer::Error;
    answer.errorText = text;
    return answer;
}

/// The answer that stands at \a position when the sequence is continued without an end.
Answer answerAt(const AnswerCase& answers, int position)
{
    const int size = answers.sequence.size();
    if (position < size) {
        return answers.sequence.at(position);
    }
    switch (answers.then) {
    case AnswerCase::Cycle:
        return answers.sequence.at(position % size);
    case AnswerCase::Fail:
        return errorAnswer(QStringLiteral("The stand-in has no more answers"));
    default:
        return answers.sequence.last();
    }
}

Answer filledAnswer(Answer answer, const Request& request)
{
    if (answer.kind == Answer::Reply && answer.name.isEmpty()) {
        answer.name = request.command.name();
    }
    answer.data = filled(answer.data, request).toMap();
    answer.errorText = filledText(answer.errorText, request);
    answer.state.text = filled(answer.state.text, request);
    if (answer.state.description) {
        answer.state.description = filledText(*answer.state.description, request);
    }
    QList<SentCommand> sent;
    for (SentCommand command : qAsConst(answer.sent)) {
        const bool isForSubscribers = command.receiver.isEmpty();
        command.receiver = filledText(command.receiver, request);
        command.data = filled(command.data, request).toMap();
        if (isForSubscribers || !command.receiver.isEmpty()) { // the request may lack the receiver's name
            sent.append(command);
        }
    }
    answer.sent = sent;
    return answer;
}

} // namespace

MockAnswers::MockAnswers(QMap<QString, QList<AnswerCase>> commands) : m_commands(std::move(commands)) { }

std::optional<Answer> MockAnswers::next(const TarvexCommand& command)
{
    const auto cases = m_commands.constFind(command.name());
    if (cases == m_commands.cend()) {
        return std::nullopt;
    }
    const Request request{command, ++m_counts[command.name()]};
    QVector<int>& positions = m_positions[command.name()];
    positions.resize(cases->size());
    for (int index = 0; index < cases->size(); ++index) {
        if (fitsAll(cases->at(index).when, command.data())) {
            return filledAnswer(answerAt(cases->at(index), positions[index]++), request);
        }
    }
    return errorAnswer(QStringLiteral("The stand-in has no answer for this data"));
}

} // namespace tarvex::mock
