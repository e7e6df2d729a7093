# Writes a file that the JVM must refuse as a class file (its magic number is wrong).
file(WRITE "${OUTPUT}" "This is not a class file, whatever its name says.\n")
