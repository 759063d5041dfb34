// Spatial family: bounding volumes and spatial indexes.
#pragma once

#include <geom/entity.h>
