#include "seennames.h"

namespace tarvex::devbus {

void SeenNames::add(const QString& name)
{
    if (name.size() <= MAX_LENGTH && m_names.size() < MAX_NAMES) {
        m_names.insert(name);
    }
}

bool SeenNames::contains(const QString& name) const
{
    return name.size() > MAX_LENGTH || m_names.size() >= MAX_NAMES || m_names.contains(name);
}

} // namespace tarvex::devbus
