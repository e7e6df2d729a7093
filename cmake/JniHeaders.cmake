# JNI headers for the jvm library and whatever links it. Only the headers: the
# launcher never links the JVM library, it loads the one it is told to use at
# run time.
#
# The JDK is located through the real path of javac first (that is the JDK whose
# javac also compiles the Java test fixtures), then JAVA_HOME, then the usual
# Debian locations.
find_program(LAUNCHER_JAVAC javac)
set(_launcher_jdk_candidates)
if(LAUNCHER_JAVAC)
  file(REAL_PATH "${LAUNCHER_JAVAC}" _launcher_javac_real)
  get_filename_component(_launcher_javac_bin "${_launcher_javac_real}" DIRECTORY)
  get_filename_component(_launcher_javac_home "${_launcher_javac_bin}" DIRECTORY)
  list(APPEND _launcher_jdk_candidates "${_launcher_javac_home}")
endif()
if(DEFINED ENV{JAVA_HOME})
  list(APPEND _launcher_jdk_candidates "$ENV{JAVA_HOME}")
endif()
list(APPEND _launcher_jdk_candidates /usr/lib/jvm/default-java /usr/lib/jvm/java-17-openjdk-amd64)

set(LAUNCHER_JDK_HOME "")
foreach(_home IN LISTS _launcher_jdk_candidates)
  if(EXISTS "${_home}/include/jni.h" AND EXISTS "${_home}/include/linux/jni_md.h")
    set(LAUNCHER_JDK_HOME "${_home}")
    break()
  endif()
endforeach()

# Cached so the JVM tests, configured in another directory, run against this JDK.
set(LAUNCHER_JDK_HOME "${LAUNCHER_JDK_HOME}" CACHE INTERNAL "JDK whose headers the launcher is built with")
if(LAUNCHER_JDK_HOME)
  set(LAUNCHER_JNI_INCLUDE_DIRS "${LAUNCHER_JDK_HOME}/include" "${LAUNCHER_JDK_HOME}/include/linux")
else()
  # Last resort: CMake's own search, asked for headers only.
  find_path(LAUNCHER_JNI_H jni.h PATH_SUFFIXES include)
  find_path(LAUNCHER_JNI_MD_H jni_md.h PATH_SUFFIXES include/linux)
  if(NOT LAUNCHER_JNI_H OR NOT LAUNCHER_JNI_MD_H)
    message(FATAL_ERROR "JNI headers not found: install a JDK (openjdk-17-jdk-headless) or set JAVA_HOME")
  endif()
  set(LAUNCHER_JNI_INCLUDE_DIRS "${LAUNCHER_JNI_H}" "${LAUNCHER_JNI_MD_H}")
endif()
message(STATUS "JNI headers: ${LAUNCHER_JNI_INCLUDE_DIRS}")

target_include_directories(launcher_jvm SYSTEM PUBLIC ${LAUNCHER_JNI_INCLUDE_DIRS})
