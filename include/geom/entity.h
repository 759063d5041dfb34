// Foundation family: entities and notices, counted arrays and their allocators, attribute
// records and named attributes, bit vectors and arrays of sets.
#pragma once

#include <geom/foundation/array.h>
#include <geom/foundation/array_of_sets.h>
#include <geom/foundation/bit_vector.h>
#include <geom/foundation/entity.h>
#include <geom/foundation/mesh_attributes.h>
#include <geom/foundation/moveable_array_allocator.h>
#include <geom/foundation/records.h>
