#include "mesh_files.h"

#include "failure.h"
#include "output_file.h"
#include "progress.h"
#include "topology_report.h"

#include <geom/packets/packet_file.h>
#include <geom/topology/topo_mesh.h>
#include <kr/packet.h>

#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <assimp/Exporter.hpp>
#include <assimp/Importer.hpp>

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace krgeom {
namespace {

using krGeom::CompactMesh;

void requireReadableFile(const std::string& path) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0) throw Failure(path, std::strerror(errno));
  if (S_ISDIR(st.st_mode)) throw Failure(path, "is a folder, not a file");
  if (st.st_size == 0) throw Failure(path, "empty file");
}

LoadedMesh readPacketFile(const std::string& path) {
  ioPacketRegistry registry;
  ioReadContext in(registry);
  krGeom::packetFile::ReadInterface reader(in);
  krGeom::packetFile::registerTypes(&registry, &reader);
  LoadedMesh loaded;
  loaded.packetFile = true;
  in.setPacketTally(&loaded.packets);
  const ioStatus status = in.readFile(path.c_str());
  if (!status.ok()) throw Failure(path, status.message());

  loaded.mesh = kr::Reference<CompactMesh>(reader.getLastMesh(true));
  std::vector<kr::Reference<krGeom::TopoMesh>> topoMeshes;
  for (void* p : in.takeObjects("kr.geom.topomesh"))
    topoMeshes.emplace_back(static_cast<krGeom::TopoMesh*>(p));
  if (!loaded.mesh && !topoMeshes.empty()) loaded.mesh = toCompactMesh(*topoMeshes.back());
  if (!loaded.mesh) throw Failure(path, "the packet file holds no mesh");
  return loaded;
}

// Appends every triangle mesh of the scene to one CompactMesh.
// Throws Failure when the scene holds more than a mesh can index, or a face of a triangle mesh
// that is not a triangle.
kr::Reference<CompactMesh> fromScene(const aiScene& scene, const std::string& path) {
  long long vertices = 0, triangles = 0;
  bool normals = true, uvs = true, colours = true;
  for (unsigned m = 0; m < scene.mNumMeshes; ++m) {
    const aiMesh& mesh = *scene.mMeshes[m];
    if (!(mesh.mPrimitiveTypes & aiPrimitiveType_TRIANGLE)) continue;
    vertices += mesh.mNumVertices;
    triangles += mesh.mNumFaces;
    for (unsigned f = 0; f < mesh.mNumFaces; ++f)
      if (mesh.mFaces[f].mNumIndices != 3)
        throw Failure(path, "a face of " + std::to_string(mesh.mFaces[f].mNumIndices) +
                                " corners is left after triangulation");
    normals = normals && mesh.HasNormals();
    uvs = uvs && mesh.HasTextureCoords(0);
    colours = colours && mesh.HasVertexColors(0);
  }
  if (vertices > std::numeric_limits<int>::max() || triangles > std::numeric_limits<int>::max())
    throw Failure(path, "more vertices or triangles than a mesh can index");
  kr::Reference<CompactMesh> out(new CompactMesh());
  out->resizeVertexArray(static_cast<int>(vertices));
  if (normals) out->allocNormalArray();
  if (uvs) out->allocUVArray();
  if (colours) out->allocColourArray();
  out->resizeTriangleArray(static_cast<int>(triangles));

  int v = 0, t = 0;
  for (unsigned m = 0; m < scene.mNumMeshes; ++m) {
    const aiMesh& mesh = *scene.mMeshes[m];
    if (!(mesh.mPrimitiveTypes & aiPrimitiveType_TRIANGLE)) continue;
    for (unsigned i = 0; i < mesh.mNumVertices; ++i) {
      const aiVector3D& p = mesh.mVertices[i];
      out->getVertices()[v + i].set(p.x, p.y, p.z);
      if (normals) {
        const aiVector3D& n = mesh.mNormals[i];
        out->getNormals()[v + i].set(n.x, n.y, n.z);
      }
      if (uvs) out->getUVs()[v + i].set(mesh.mTextureCoords[0][i].x, mesh.mTextureCoords[0][i].y);
      if (colours) {
        const aiColor4D& c = mesh.mColors[0][i];
        out->getColours()[v + i].set(c.r, c.g, c.b, c.a);
      }
    }
    for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
      const aiFace& face = mesh.mFaces[f];
      krGeom::MeshTriangle& tri = out->getTriangles()[t++];
      for (int k = 0; k < 3; ++k) tri[k] = v + static_cast<int>(face.mIndices[k]);
    }
    v += static_cast<int>(mesh.mNumVertices);
  }
  return out;
}

LoadedMesh importFile(const std::string& path, Progress& progress) {
  Assimp::Importer importer;
  const std::string ext = extensionOf(path);
  if (ext.empty() || !importer.IsExtensionSupported("." + ext))
    throw Failure(path, ext.empty() ? "no file extension to tell the format by"
                                    : "unsupported file extension '." + ext + "'");
  progress.step("reading " + path);
  const aiScene* scene = importScene(importer, path);
  if (!scene) {
    std::string reason = importer.GetErrorString();
    if (reason.empty()) reason = "cannot read the file";
    throw Failure(path, reason);
  }
  LoadedMesh loaded;
  loaded.mesh = fromScene(*scene, path);
  return loaded;
}

// The assimp exporter for an extension: binary where a format has both.
std::string exportFormatFor(const Assimp::Exporter& exporter, const std::string& ext) {
  static const std::pair<const char*, const char*> preferred[] = {
      {"obj", "objnomtl"}, {"ply", "plyb"}, {"stl", "stlb"}, {"gltf", "gltf2"}, {"glb", "glb2"}};
  for (const auto& [e, id] : preferred)
    if (ext == e) return id;
  for (std::size_t i = 0; i < exporter.GetExportFormatCount(); ++i) {
    const aiExportFormatDesc* d = exporter.GetExportFormatDescription(i);
    if (ext == d->fileExtension) return d->id;
  }
  return {};
}

// A scene of one mesh and one plain material; the scene owns everything it points to.
std::unique_ptr<aiScene> toScene(const CompactMesh& in, double scale) {
  auto scene = std::make_unique<aiScene>();
  scene->mRootNode = new aiNode();
  scene->mMaterials = new aiMaterial* [1] { new aiMaterial() };
  scene->mNumMaterials = 1;
  scene->mMeshes = new aiMesh* [1] { new aiMesh() };
  scene->mNumMeshes = 1;
  scene->mRootNode->mMeshes = new unsigned[1]{0};
  scene->mRootNode->mNumMeshes = 1;

  aiMesh& mesh = *scene->mMeshes[0];
  const int n = in.getNumVertices(), f = in.getNumTriangles();
  mesh.mMaterialIndex = 0;
  mesh.mPrimitiveTypes = aiPrimitiveType_TRIANGLE;
  mesh.mNumVertices = static_cast<unsigned>(n);
  mesh.mVertices = new aiVector3D[n];
  const float s = static_cast<float>(scale);
  for (int i = 0; i < n; ++i) {
    const krGeom::MeshVertex& p = in.getVertices()[i];
    mesh.mVertices[i] =
        scale == 1.0 ? aiVector3D(p.x, p.y, p.z) : aiVector3D(p.x * s, p.y * s, p.z * s);
  }
  if (in.getNormals() && !in.getNormalsComputed()) {
    mesh.mNormals = new aiVector3D[n];
    for (int i = 0; i < n; ++i) {
      const krGeom::MeshNormal& v = in.getNormals()[i];
      mesh.mNormals[i] = aiVector3D(v.x, v.y, v.z);
    }
  }
  if (in.getUVs()) {
    mesh.mTextureCoords[0] = new aiVector3D[n];
    mesh.mNumUVComponents[0] = 2;
    for (int i = 0; i < n; ++i)
      mesh.mTextureCoords[0][i] = aiVector3D(in.getUVs()[i].u, in.getUVs()[i].v, 0);
  }
  if (in.getColours()) {
    mesh.mColors[0] = new aiColor4D[n];
    for (int i = 0; i < n; ++i) {
      const krGeom::MeshColour& c = in.getColours()[i];
      mesh.mColors[0][i] = aiColor4D(c.r, c.g, c.b, c.a);
    }
  }
  mesh.mNumFaces = static_cast<unsigned>(f);
  mesh.mFaces = new aiFace[f];
  for (int t = 0; t < f; ++t) {
    const krGeom::MeshTriangle& tri = in.getTriangles()[t];
    mesh.mFaces[t].mNumIndices = 3;
    mesh.mFaces[t].mIndices = new unsigned[3]{unsigned(tri[0]), unsigned(tri[1]), unsigned(tri[2])};
  }
  return scene;
}

}  // namespace

const aiScene* importScene(Assimp::Importer& importer, const std::string& path) {
  // Lines and points are dropped; validation runs first, so a bad index never reaches the
  // later steps.
  importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE,
                              aiPrimitiveType_POINT | aiPrimitiveType_LINE);
  unsigned steps = aiProcess_ValidateDataStructure | aiProcess_Triangulate |
                   aiProcess_JoinIdenticalVertices | aiProcess_SortByPType |
                   aiProcess_PreTransformVertices;
  // STL gives every corner its facet's normal; without them the corners join into vertices.
  if (extensionOf(path) == "stl") {
    importer.SetPropertyInteger(AI_CONFIG_PP_RVC_FLAGS, aiComponent_NORMALS);
    steps |= aiProcess_RemoveComponent;
  }
  return importer.ReadFile(path, steps);
}

std::string extensionOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  const std::size_t dot = path.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
  std::string ext = path.substr(dot + 1);
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ext;
}

bool isPacketFilePath(const std::string& path) {
  return extensionOf(path) == "krp";
}

void checkIndices(const CompactMesh& mesh, const std::string& path) {
  const unsigned n = static_cast<unsigned>(mesh.getNumVertices());
  const int* idx = mesh.getTrianglesRaw();
  for (int i = 0, end = 3 * mesh.getNumTriangles(); i < end; ++i)
    if (static_cast<unsigned>(idx[i]) >= n)
      throw Failure(path, "triangle " + std::to_string(i / 3) + " names vertex " +
                              std::to_string(idx[i]) + ", but the mesh has " + std::to_string(n));
}

void checkPoints(const CompactMesh& mesh, const std::string& path) {
  const float* xyz = mesh.getVerticesRaw();
  for (int i = 0, end = 3 * mesh.getNumVertices(); i < end; ++i)
    if (!std::isfinite(xyz[i]))
      throw Failure(path,
                    "vertex " + std::to_string(i / 3) + " has a coordinate that is not a number");
}

LoadedMesh readMesh(const std::string& path, Progress& progress) {
  requireReadableFile(path);
  LoadedMesh loaded;
  if (isPacketFilePath(path)) {
    progress.step("reading " + path);
    loaded = readPacketFile(path);
  } else {
    loaded = importFile(path, progress);
  }
  if (loaded.mesh->getNumTriangles() == 0) throw Failure(path, "the mesh has no triangles");
  checkIndices(*loaded.mesh, path);
  checkPoints(*loaded.mesh, path);
  return loaded;
}

void writeMesh(const CompactMesh& mesh, const std::string& path, double scale, Progress& progress) {
  progress.step("writing " + path);
  if (isPacketFilePath(path)) {
    // The packet writer itself writes a temporary file and renames it at close().
    ioWriteContext out;
    ioStatus status = out.openFile(path.c_str());
    if (status.ok()) {
      krGeom::packetFile::writeMesh(out, &mesh, scale, false);
      status = out.close();
    }
    if (!status.ok()) throw Failure(path, status.message());
    return;
  }
  Assimp::Exporter exporter;
  const std::string ext = extensionOf(path);
  const std::string format = exportFormatFor(exporter, ext);
  if (format.empty())
    throw Failure(path, ext.empty() ? "no file extension to tell the format by"
                                    : "cannot write '." + ext + "' files");
  std::unique_ptr<aiScene> scene = toScene(mesh, scale);
  OutputFile output(path);
  if (exporter.Export(scene.get(), format, output.tempPath()) != aiReturn_SUCCESS)
    throw Failure(path, exporter.GetErrorString());
  output.commit();
}

}  // namespace krgeom
