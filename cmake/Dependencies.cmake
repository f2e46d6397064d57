# The catalogue engine, the ini dictionary and the cipher; they are found, never built here.
find_package(SQLite3 REQUIRED)
find_package(Threads REQUIRED)
# Some distributions put the header into a folder of its own.
find_path(INIPARSER_INCLUDE_DIR iniparser.h PATH_SUFFIXES iniparser REQUIRED)
find_library(INIPARSER_LIBRARY NAMES iniparser REQUIRED)
add_library(iniparser::iniparser UNKNOWN IMPORTED)
set_target_properties(iniparser::iniparser PROPERTIES
  IMPORTED_LOCATION ${INIPARSER_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES ${INIPARSER_INCLUDE_DIR})
# Only the cryptographic half of OpenSSL.
find_path(LIBCRYPTO_INCLUDE_DIR openssl/blowfish.h REQUIRED)
find_library(LIBCRYPTO_LIBRARY NAMES crypto REQUIRED)
add_library(openssl::crypto UNKNOWN IMPORTED)
set_target_properties(openssl::crypto PROPERTIES
  IMPORTED_LOCATION ${LIBCRYPTO_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES ${LIBCRYPTO_INCLUDE_DIR})
