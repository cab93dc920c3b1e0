# Completion in bash for announce, iordump, locd, oadctl, oadd and peerscan; installed under each of these names.

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
    oadctl)
        options='--all --data --env --help --host --interface --json --name --oad --oad-file --policy --version --wait
            destroy-on-unregister list lookup register status unregister'
        ;;
    oadd)
        options="--address --allow --as-root --end-limit --help --log-level --max-servers --port --programs --reference
            --registrations --start-limit --verbose --version $orb"
        ;;
    peerscan) options="-a -b -d -h -o -r -C --help --json --version $orb -LOCdebug -LOCtimeout -LOCverify" ;;
    esac
    case $program:$previous in
    locd:--log-level) options='error warning info debug' ;;
    oadd:--log-level) options='error warning info' ;;
    oadctl:-p | oadctl:--policy) options='shared unshared per-method' ;;
    oadctl:destroy-on-unregister) options='yes no' ;;
    oadd:--programs)
        mapfile -t COMPREPLY < <(compgen -d -- "$word")
        return
        ;;
    locd:--log-file | iordump:-f | oadd:--reference | oadd:--registrations | oadctl:--oad-file)
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
        ;;
    locd:-a | oadd:-a | *:--address | locd:--peer | oadctl:--host | *:-ORBagentaddr)
        mapfile -t COMPREPLY < <(compgen -A hostname -- "$word")
        return
        ;;
    oadd:--allow | oadd:--*-limit | oadd:--max-servers | oadctl:--oad | oadctl:--data | oadctl:--env | oadctl:--name | \
        oadctl:-[dnew] | oadctl:--wait) return ;;
    *:-p | *:--port | *:--list-port | *:--*interval | *:--reference | peerscan:-r | *:-ORB* | *:-OA* | *:-LOC*)
        return # a number or text that nothing is known about
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
}

complete -F _harbolance announce iordump locd oadctl oadd peerscan
