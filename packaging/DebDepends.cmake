# Read by cpack before it builds the package: the Depends field from what the
# shipped binaries link, as dpkg-shlibdeps reports it. (CPack's own
# dpkg-shlibdeps switch would also add ldconfig calls to the maintainer scripts
# for any library under /usr/lib, private directories included; those rewrite
# the loader cache, a file outside the package, and this package needs none.)
find_program(_shlibdeps dpkg-shlibdeps REQUIRED)
set(_dir ${CPACK_PACKAGE_DIRECTORY}/_shlibdeps)
file(REMOVE_RECURSE ${_dir})
# dpkg-shlibdeps wants a source tree with a control file, and the binaries in
# a package's staging directory, which it knows by its DEBIAN directory.
file(WRITE ${_dir}/debian/control "Source: launcher\n\nPackage: launcher\nArchitecture: amd64\n")
file(MAKE_DIRECTORY ${_dir}/debian/launcher/DEBIAN)
file(COPY ${CPACK_LAUNCHER_BINARIES} DESTINATION ${_dir}/debian/launcher/usr/lib/launcher)
file(GLOB _binaries RELATIVE ${_dir} ${_dir}/debian/launcher/usr/lib/launcher/*)
execute_process(COMMAND ${_shlibdeps} -O ${_binaries}
                WORKING_DIRECTORY ${_dir}
                OUTPUT_VARIABLE _substvars
                COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE_RECURSE ${_dir})
if(NOT _substvars MATCHES "shlibs:Depends=([^\n]+)")
  message(FATAL_ERROR "dpkg-shlibdeps named no dependencies: ${_substvars}")
endif()
set(CPACK_DEBIAN_PACKAGE_DEPENDS "${CMAKE_MATCH_1}")
