// Topology family: the editable half-edge mesh, its records and handles, iterators, surface
// points and saved states.
#pragma once

#include <geom/entity.h>
#include <geom/topology/blind_data.h>
#include <geom/topology/boundary_iterator.h>
#include <geom/topology/edge_vertex_iterator.h>
#include <geom/topology/mesh_boundaries.h>
#include <geom/topology/mesh_coord.h>
#include <geom/topology/mesh_curve.h>
#include <geom/topology/topo_mesh.h>
#include <geom/topology/topo_mesh_entities.h>
#include <geom/topology/topo_mesh_point.h>
#include <geom/topology/topo_mesh_state.h>
