// Spatial family: bounding volumes and spatial indexes.
#pragma once

#include <geom/entity.h>
#include <geom/spatial/bounding_box.h>
#include <geom/spatial/kd_tree.h>
#include <geom/spatial/octree.h>
#include <geom/spatial/octree_voxels.h>
#include <geom/spatial/oriented_box.h>
#include <geom/spatial/quadtree.h>
#include <geom/spatial/sphere.h>
