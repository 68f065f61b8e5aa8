#ifndef SEENNAMES_H
#define SEENNAMES_H

#include <QSet>
#include <QString>

namespace tarvex::devbus {

/// The names under which clients have introduced themselves. Their number is bounded. When it is reached, further names
/// are not remembered, and every name counts as seen, because nobody knows any more.
class SeenNames
{
public:
    static constexpr int MAX_NAMES = 16384;
    /// In characters. Longer names are not remembered; each of them counts as seen.
    static constexpr int MAX_LENGTH = 256;

    void add(const QString& name);
    bool contains(const QString& name) const;

private:
    QSet<QString> m_names;
};

} // namespace tarvex::devbus

#endif // SEENNAMES_H
