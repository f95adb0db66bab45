# Sourced by the benchmarks: start_vsftpd WORK ROOT [EXTRA] starts vsftpd on a free port of
# 127.0.0.1, anonymous with uploads and ASCII conversion, serving ROOT, with the lines of EXTRA
# added to its configuration; it sets server_port and server_pid.
start_vsftpd() {
    local work=$1 root=$2 extra=${3:-}
    mkdir -p "$work/empty"
    server_port=$(/usr/bin/python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
    cat >"$work/vsftpd.conf" <<CONF
listen=YES
listen_ipv6=NO
listen_address=127.0.0.1
listen_port=$server_port
background=NO
anonymous_enable=YES
local_enable=NO
write_enable=YES
anon_upload_enable=YES
anon_mkdir_write_enable=YES
anon_other_write_enable=YES
anon_umask=022
no_anon_password=YES
seccomp_sandbox=NO
anon_root=$root
secure_chroot_dir=$work/empty
ascii_upload_enable=YES
ascii_download_enable=YES
$([ "$(id -u)" -ne 0 ] && echo run_as_launching_user=YES)
$extra
CONF
    /usr/sbin/vsftpd "$work/vsftpd.conf" &
    server_pid=$!
    for _ in $(seq 50); do
        (exec 3<>"/dev/tcp/127.0.0.1/$server_port") 2>/dev/null && return 0
        sleep 0.1
    done
    echo "vsftpd did not start" >&2
    return 1
}
