#pragma once

#include <QString>
#include <QVariant>

class QXmlStreamReader;
class QXmlStreamWriter;

/** Turns values into elements of a settings file and back. \thread Any. */
namespace SettingsValue {

/** True if write() can keep \a value. */
bool canWrite(const QVariant &value);

/**
 * Writes the element \a name with \a value in it.
 *
 * \param typed also writes the type of the value, for a property that can hold any.
 */
void write(QXmlStreamWriter &xml, const QString &name, const QVariant &value, bool typed = false);

/**
 * Reads the element that the reader has just entered, to its end.
 *
 * \param type the type that is wanted; QMetaType::QVariant for that which the element names.
 * \return a value of that type; an invalid one if the element holds none.
 */
QVariant read(QXmlStreamReader &xml, int type);

/** Writes \a text as characters that a reader gives back unchanged; XML must be able to hold all of them. */
void writeCharacters(QXmlStreamWriter &xml, const QString &text);

} // namespace SettingsValue
