#pragma once

#include "base/image/ChannelImage.h"
#include "settings/PropertyDescriptor.h"

namespace Vespra::Pipeline {

// Post-processing properties travel inside an image as header attributes, one per property,
// named by `getPropertyExrName`: numbers and colours as attributes of their type, booleans as
// integers 0 and 1, arrays as strings in the .conf value form.

/// The value the image carries for `row`, or nothing when it carries none of the right type, its
/// text does not parse, or the value is not valid for the property (`Settings::validate`).
Optional<Property> readPropertyAttribute(const ChannelImage& image, const PropertyDescriptor& row);

/// Stores `value` of property `row` in the image, replacing what was there.
void writePropertyAttribute(ChannelImage& image, const PropertyDescriptor& row, const Property& value);

} // namespace Vespra::Pipeline
