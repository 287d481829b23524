#include "support/metaface.h"

#include <QMetaClassInfo>
#include <QMetaMethod>
#include <QMetaProperty>

namespace metaface {

namespace {

QString kindOf(const QMetaMethod &method)
{
    switch (method.methodType()) {
    case QMetaMethod::Signal:
        return QStringLiteral("signal");
    case QMetaMethod::Slot:
        return method.access() == QMetaMethod::Public   ? QStringLiteral("slot")
            : method.access() == QMetaMethod::Protected ? QStringLiteral("protected slot")
                                                        : QStringLiteral("private slot");
    default:
        return QStringLiteral("method");
    }
}

} // namespace

QStringList ofClass(const QMetaObject &metaObject)
{
    QStringList face;
    for (int i = metaObject.methodOffset(); i < metaObject.methodCount(); ++i) {
        const QMetaMethod method = metaObject.method(i);
        QString line = kindOf(method) + QLatin1Char(' ');
        if (qstrcmp(method.typeName(), "void") != 0)
            line += QLatin1String(method.typeName()) + QLatin1Char(' ');
        line += QLatin1String(method.methodSignature());
        if (method.attributes() & QMetaMethod::Cloned)
            line += QStringLiteral(" [cloned]");
        face << line;
    }
    for (int i = metaObject.propertyOffset(); i < metaObject.propertyCount(); ++i) {
        const QMetaProperty property = metaObject.property(i);
        face << QStringLiteral("property %1 %2")
                    .arg(QLatin1String(property.typeName()), QLatin1String(property.name()));
    }
    for (int i = metaObject.classInfoOffset(); i < metaObject.classInfoCount(); ++i) {
        const QMetaClassInfo info = metaObject.classInfo(i);
        face
            << QStringLiteral("classinfo %1=%2").arg(QLatin1String(info.name()), QLatin1String(info.value()));
    }
    return face;
}

} // namespace metaface
