#ifndef MARKINGTRANSLATOR_H
#define MARKINGTRANSLATOR_H

#include "literals.h"

#include <QCoreApplication>
#include <QTranslator>

/// Translates every text of the process as long as the object lives: "text" of the class C becomes "<C: text>".
class MarkingTranslator : public QTranslator
{
public:
    MarkingTranslator() { QCoreApplication::installTranslator(this); }

    ~MarkingTranslator() override { QCoreApplication::removeTranslator(this); }
    Q_DISABLE_COPY_MOVE(MarkingTranslator)

    bool isEmpty() const override { return false; }

    QString translate(const char* context, const char* sourceText, const char* disambiguation, int n) const override
    {
        Q_UNUSED(disambiguation)
        Q_UNUSED(n)
        return marked(context, QString::fromUtf8(sourceText));
    }

    static QString marked(const char* context, const QString& text)
    {
        return u"<%1: %2>"_s.arg(QString::fromLatin1(context), text);
    }
};

#endif // MARKINGTRANSLATOR_H
