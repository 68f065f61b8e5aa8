#ifndef SEENNAMES_H
#define SEENNAMES_H

#include <QSet>
#include <QString>

namespace tarvex::devbus {

/// The names by which clients have introduced themselves. Bounded: what does not fit is not remembered, and every name
/// counts as seen from then on, because nobody knows any more.
class SeenNames
{
public:
    static constexpr int MAX_NAMES = 16384;
    /// Longer names are not remembered, in characters; each counts as seen.
    static constexpr int MAX_LENGTH = 256;

    void add(const QString& name);
    bool contains(const QString& name) const;

private:
    QSet<QString> m_names;
};

} // namespace tarvex::devbus

#endif // SEENNAMES_H
