#include "pipeline/imageprocessingalgorithmsettings.h"

#include <utility>

ImageProcessingAlgorithmSettings::ImageProcessingAlgorithmSettings(QString path, QObject *parent)
    : VTSettings(path, true, parent, VTSettingsFormat{}), m_nameDefault(QStringLiteral("test")),
      m_name(m_nameDefault)
{
}

ImageProcessingAlgorithmSettings::~ImageProcessingAlgorithmSettings() = default;

void ImageProcessingAlgorithmSettings::setName(QString value)
{
    if (m_name == value)
        return;
    m_name = std::move(value);
    Q_EMIT changedName(m_name);
    changedProperty(QStringLiteral("Name"));
}

QString ImageProcessingAlgorithmSettings::getName() const
{
    return m_name;
}

void ImageProcessingAlgorithmSettings::resetName()
{
    setName(m_nameDefault);
}
