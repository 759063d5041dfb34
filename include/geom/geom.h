// Everything the geometry library exports, and the platform headers it uses.
#pragma once

#include <geom/debug_draw.h>
#include <geom/entity.h>
#include <geom/meshes.h>
#include <geom/packets.h>
#include <geom/spatial.h>
#include <geom/topology.h>
#include <geom/viewing.h>
