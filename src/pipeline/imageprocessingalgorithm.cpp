#include "pipeline/imageprocessingalgorithm.h"

#include <utility>

ImageProcessingAlgorithm::ImageProcessingAlgorithm(QString name, QObject *parent)
    : QObject(parent), m_name(std::move(name))
{
}

ImageProcessingAlgorithm::~ImageProcessingAlgorithm() = default;
