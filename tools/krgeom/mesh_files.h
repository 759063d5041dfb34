// Reading and writing mesh files: packet files (.krp) through the library's packet reader and
// writer, every other format through assimp (OBJ, PLY, STL, OFF, glTF and the rest it knows).
//
// Imports are triangulated, identical vertices are joined (OBJ and STL store corners, not
// vertices; STL's facet normals are dropped so that corners at one point join), node transforms
// are applied and points and lines are dropped; all meshes of a scene become one CompactMesh,
// with normals, UVs and colours kept when every mesh of the scene has them.
// Exports write one mesh: OBJ without a material file, binary PLY and STL, glTF 2.
#pragma once

#include <geom/meshes/compact_mesh.h>
#include <kr/reference.h>

#include <cstdint>
#include <map>
#include <string>

struct aiScene;
namespace Assimp {
class Importer;
}

namespace krgeom {

class Progress;

struct LoadedMesh {
  kr::Reference<krGeom::CompactMesh> mesh;
  bool packetFile = false;
  // Packet files only: framed packets per packet name.
  std::map<std::string, std::uint64_t> packets;
};

// assimp's part of every import: reads the file with the steps above into the importer's
// scene; null on failure (the importer has the reason).
const aiScene* importScene(Assimp::Importer& importer, const std::string& path);

// True for a path ending in .krp (any case).
bool isPacketFilePath(const std::string& path);
// The lower-case extension without its dot; empty when none.
std::string extensionOf(const std::string& path);

// Reads a mesh file; a packet file gives its last mesh, or its last half-edge mesh as triangles
// when it holds no mesh. Throws Failure for a missing, empty or unreadable file, a format nobody
// reads, a damaged file, a mesh without triangles, with an index that names no vertex or a
// coordinate that is not a finite number.
LoadedMesh readMesh(const std::string& path, Progress& progress);

// Writes the mesh with its positions multiplied by scale, under a temporary name renamed at the
// end. Throws Failure for a format nobody writes or a failed write; the path is then untouched.
void writeMesh(const krGeom::CompactMesh& mesh, const std::string& path, double scale,
               Progress& progress);

// Throws Failure unless every coordinate is finite.
void checkPoints(const krGeom::CompactMesh& mesh, const std::string& path);
// Throws Failure unless every triangle index names a vertex.
void checkIndices(const krGeom::CompactMesh& mesh, const std::string& path);

}  // namespace krgeom
