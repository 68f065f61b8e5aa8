#ifndef DBUSOBJECTS_H
#define DBUSOBJECTS_H

#include <QObject>
#include <QString>

/// The bus server's object on D-Bus.
class DBusServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "tarvex.Benchmark")
public:
    void setSettings(const QString& settings) { m_settings = settings; }

public Q_SLOTS:

    int sendMessage(const QString& sender, const QString& reciever, const QString& date, const QString& text,
                    const QString& uid)
    {
        Q_UNUSED(sender)
        Q_UNUSED(reciever)
        Q_UNUSED(date)
        Q_UNUSED(text)
        Q_UNUSED(uid)
        return 0;
    }

    QString loadSettings(const QString& owner)
    {
        Q_UNUSED(owner)
        return m_settings;
    }

private:
    QString m_settings;
};

/// The client's object, for what is pushed. The return from the slot is the acknowledgement.
class DBusClient : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "tarvex.Benchmark")
public:
    void forget() { m_textSize = -1; }

    bool isPushed() const { return m_textSize >= 0; }

    int textSize() const { return m_textSize; }

public Q_SLOTS:

    int takeMessage(const QString& sender, const QString& reciever, const QString& date, const QString& text,
                    const QString& uid)
    {
        Q_UNUSED(sender)
        Q_UNUSED(reciever)
        Q_UNUSED(date)
        Q_UNUSED(uid)
        m_textSize = text.size();
        return 0;
    }

private:
    int m_textSize = -1;
};

#endif // DBUSOBJECTS_H
