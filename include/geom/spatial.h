// Spatial family: bounding volumes and spatial indexes.
#pragma once

#include <geom/entity.h>
#include <geom/spatial/bounding_box.h>
#include <geom/spatial/sphere.h>
