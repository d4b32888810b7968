# An installation in the scratch directory, with the conversion tables of the build.
mkdir -p registry install
export SORREL_REGISTRY=$PWD/registry
ln -s "$VELA_BUILD/etc" install/etc
vela registry set InstallPath "$PWD/install"
vela registry set DataPath "$PWD/data"
