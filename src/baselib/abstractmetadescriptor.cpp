#include "baselib/abstractmetadescriptor.h"

AbstractMetaDescriptor::~AbstractMetaDescriptor() = default;
