# The presets asan, tsan and fuzz compile several sources as one unit: Boost, GoogleTest and the JSON library are most of
# what the compiler reads, and so it reads them once for all of these. Release and debug compile each source by itself,
# where one that forgets an include is found; and clang-tidy reads them one by one as well, by the commands of release.
# Sources of one target share no names therefore, not even in anonymous namespaces.
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_compile_options(-Wno-subobject-linkage)  # GCC takes the sources of a unit for headers
endif()
