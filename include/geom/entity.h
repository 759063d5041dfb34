// Foundation family: entities and notices, counted arrays and their allocators, attribute
// records and named attributes, bit vectors and arrays of sets.
#pragma once

