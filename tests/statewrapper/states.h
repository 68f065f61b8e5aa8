#ifndef STATES_H
#define STATES_H

#include "literals.h"
#include "statewrapper/abstractstatewrapper.h"

/// The smallest wrapper, the base of the other ones in the tests.
class PlainState : public AbstractStateWrapper
{
    Q_OBJECT
public:
    tarvex::ClientState toClientState() const override
    {
        tarvex::ClientState state;
        state.setOwner(u"printer"_s);
        state.setStateType(tarvex::ClientState::EStateType(3));
        state.setState(toString());
        return state;
    }
};

/// Has the properties "a" and "b" only. They are not declared in the order of their names.
class TwoState : public PlainState
{
    Q_OBJECT
    Q_PROPERTY(QString b MEMBER m_b)
    Q_PROPERTY(int a MEMBER m_a)
public:
    int m_a = 1;
    QString m_b = u"x"_s;
};

/// Two values that belong together: the second is always the first one's negative.
struct Pair
{
    int first = 0;
    int second = 0;

    bool operator!=(const Pair& other) const { return first != other.first || second != other.second; }
};
Q_DECLARE_METATYPE(Pair)

#endif // STATES_H
