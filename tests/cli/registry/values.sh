exec 2>&1
export SORREL_REGISTRY=$PWD/registry
vela registry where
vela registry list; echo "status $?"
vela registry get InstallPath; echo "status $?"
vela registry set InstallPath /opt/somewhere
vela registry get installpath
vela registry set 'VELARegions\vela.A\UserId' adam
vela registry set SOFTWARE/Other/Key/Name "with blanks, ünd more"
vela registry set Empty ""
vela registry get Empty
vela registry list
vela registry list VELARegions
vela registry delete --key VELARegions; echo "status $?"
vela registry delete --key 'VELARegions\vela.A'; echo "status $?"
vela registry delete --key VELARegions; echo "status $?"
vela registry delete Empty; echo "status $?"
vela registry delete Empty; echo "status $?"
vela registry list nothing; echo "status $?"
vela registry get '\'; echo "status $?"
vela registry set 'Name\' x; vela registry get Name
