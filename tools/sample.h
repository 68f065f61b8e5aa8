#ifndef SAMPLE_H
#define SAMPLE_H

#include <QString>
#include <QVariantMap>

#include <vector>

namespace tarvexctl {

/// Times that were measured, in milliseconds.
class Sample
{
public:
    void add(double milliseconds) { m_times.push_back(milliseconds); }

    int size() const { return static_cast<int>(m_times.size()); }

    /// The times in order.
    std::vector<double> sorted() const;

private:
    std::vector<double> m_times;
};

/// The sample for programs: "count", "minMs", "medianMs", "p99Ms", "maxMs", and "histogram", a list of "fromMs", "toMs"
/// and "count". The sample must not be empty.
QVariantMap sampleObject(const Sample& sample);

/// The same for people.
QString sampleText(const Sample& sample);

} // namespace tarvexctl

#endif // SAMPLE_H
