# Debian packages only; scripts/install-deps.sh names them.
find_package(PkgConfig REQUIRED)
find_package(OpenSSL REQUIRED)
find_package(Boost 1.74 REQUIRED)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(UUID REQUIRED IMPORTED_TARGET uuid)
pkg_check_modules(GSOAPSSL REQUIRED IMPORTED_TARGET gsoapssl++)
find_package(spdlog REQUIRED)
find_package(CLI11 REQUIRED)
