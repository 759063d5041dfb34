// assimp's import of a file alone, with the steps krgeom asks for and nothing after it: the
// reference the cost of `krgeom convert` is measured against (bench/krgeom_convert.sh).
//   assimp_import_only FILE
#include "mesh_files.h"

#include <assimp/scene.h>
#include <assimp/Importer.hpp>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: assimp_import_only FILE\n");
    return 2;
  }
  Assimp::Importer importer;
  const aiScene* scene = krgeom::importScene(importer, argv[1]);
  if (!scene) {
    std::fprintf(stderr, "%s: %s\n", argv[1], importer.GetErrorString());
    return 1;
  }
  unsigned faces = 0;
  for (unsigned m = 0; m < scene->mNumMeshes; ++m) faces += scene->mMeshes[m]->mNumFaces;
  std::printf("%u triangles\n", faces);
  return 0;
}
