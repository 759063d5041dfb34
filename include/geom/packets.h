// Persistence family: meshes, cameras and half-edge meshes as packets of the packet stream.
#pragma once

#include <geom/packets/packet_file.h>
#include <geom/topology/topo_mesh.h>
#include <kr/packet.h>
