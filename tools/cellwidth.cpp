#include "cellwidth.h"

#include <QVector>

#include <clocale>
#include <cwchar>

namespace tarvexctl {

namespace {

/// While it exists, the calling thread's locale is one with UTF-8, because the user's locale may have another encoding.
class Utf8Locale
{
public:
    Utf8Locale() : m_former(::uselocale(locale())) { }

    ~Utf8Locale() { ::uselocale(m_former); }

    Q_DISABLE_COPY_MOVE(Utf8Locale)

private:
    /// Made once. Null when the system has no such locale; uselocale() changes nothing then.
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
    return width < 0 ? 1 : width; // the system does not know the character
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
