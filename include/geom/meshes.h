// Triangle-mesh family: point and compact meshes, modification notices, index remapping.
#pragma once

#include <geom/entity.h>
