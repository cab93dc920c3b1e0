# Completion in bash for announce, iordump, locd and peerscan; installed under each of these names.

_harbolance() {
    local program=${1##*/} word=$2 previous=$3
    local orb='-ORBagentaddr -ORBagentport -OAipaddr'
    local options
    COMPREPLY=()
    case $program in
    announce) options="--address --exact --help --oad --port --reference --version $orb" ;;
    iordump) options='-f -h --help --version' ;;
    locd)
        options='--address --check-interval --foreground --help --interval --list-port --log-file --log-level
            --peer --port --verbose --version'
        ;;
    peerscan) options="-a -b -d -h -o -r -C --help --json --version $orb -LOCdebug -LOCtimeout -LOCverify" ;;
    esac
    case $program:$previous in
    locd:--log-level) options='error warning info debug' ;;
    locd:--log-file | iordump:-f)
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
        ;;
    locd:-a | locd:--address | locd:--peer | announce:--address | *:-ORBagentaddr)
        mapfile -t COMPREPLY < <(compgen -A hostname -- "$word")
        return
        ;;
    locd:-p | *:--port | *:--list-port | *:--*interval | *:--reference | peerscan:-r | *:-ORB* | *:-OA* | *:-LOC*)
        return # a number or text that nothing is known about
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
}

complete -F _harbolance announce iordump locd peerscan
