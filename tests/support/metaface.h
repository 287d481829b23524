#pragma once

#include <QMetaObject>
#include <QStringList>

namespace metaface {

/**
 * Lists what a class adds to its base in its meta-object, one line an entry, in the meta-object's order:
 * "signal frameChanged(cv::Mat)", "slot stopRecord(bool)", "method bool getIsRunning()", "property QSize
 * frameSize", "classinfo FlipEditable=true". Overloads that stand for default arguments carry "[cloned]"
 * behind them. Results other than void are part of the line.
 */
QStringList ofClass(const QMetaObject &metaObject);

} // namespace metaface
