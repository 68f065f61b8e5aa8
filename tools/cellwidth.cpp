#include "cellwidth.h"

#include <QVector>

#include <clocale>
#include <cwchar>

namespace tarvexctl {

namespace {

/// Has the calling thread's characters classified as those of UTF-8 text, whatever the user's locale.
class Utf8Locale
{
public:
    Utf8Locale() : m_former(::uselocale(locale())) { }

    ~Utf8Locale() { ::uselocale(m_former); }

    Q_DISABLE_COPY_MOVE(Utf8Locale)

private:
    /// Made once. Null, which uselocale() takes for no change, when the system has no such locale.
    static locale_t locale()
    {
        static const locale_t utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return utf8;
    }

    const locale_t m_former;
};

int codePointWidth(uint codePoint)
{
    if (QChar::category(codePoint) == QChar::Mark_NonSpacing) {
        return 0;
    }
    const int width = ::wcwidth(static_cast<wchar_t>(codePoint));
    return width < 0 ? 1 : width; // unknown to the system's table
}

} // namespace

int cellWidth(const QString& text)
{
    const Utf8Locale locale;
    int width = 0;
    const QVector<uint> codePoints = text.toUcs4();
    for (const uint codePoint : codePoints) {
        width += codePointWidth(codePoint);
    }
    return width;
}

} // namespace tarvexctl
