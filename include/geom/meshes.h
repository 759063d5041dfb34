// Triangle-mesh family: point and compact meshes, modification notices, index remapping.
#pragma once

#include <geom/entity.h>
#include <geom/meshes/arrangement.h>
#include <geom/meshes/compact_mesh.h>
#include <geom/meshes/grid_mesh.h>
#include <geom/meshes/line_strips.h>
#include <geom/meshes/mesh_adjacency.h>
#include <geom/meshes/mesh_modification.h>
#include <geom/meshes/mesh_sequence.h>
#include <geom/meshes/mesh_subset.h>
#include <geom/meshes/moveable_mesh.h>
#include <geom/meshes/point_mesh.h>
#include <geom/meshes/polyline.h>
#include <geom/meshes/remap.h>
