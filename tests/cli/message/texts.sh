exec 2>&1
vela message ERZ057002E
vela message erz057002
vela message ERZ049008I/0202
vela message 0x2E840000
vela message 239079489
vela message 12; echo "status $?"
vela message ERZ999999E; echo "status $?"
vela message word; echo "status $?"
vela message 0x1FFFFFFFFF; echo "status $?"
vela message -- -1; echo "status $?"
vela message; echo "status $?"
vela message --all ERZ057002E; echo "status $?"
vela message --all | grep -c number
echo "this is no catalogue" > vela.cat
NLSPATH=$PWD/%N vela message ERZ057002E; echo "status $?"
