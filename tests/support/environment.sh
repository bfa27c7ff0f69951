# Sourced by scripts that run test programs of the build $preset: keeps these away from the user's settings and
# desktop, in the directory $home, which is deleted at the end, and sets $wrapper to the command that starts them.
home=$(mktemp -d "${TMPDIR:-/tmp}/korvane-test-XXXXXX")
trap 'rm -rf "$home"' EXIT
for kind in RUNTIME_DIR CONFIG_HOME DATA_HOME CACHE_HOME STATE_HOME; do
    mkdir -m 700 "$home/$kind"
    export "XDG_$kind=$home/$kind"
done
mkdir "$home/tmp"
export TMPDIR=$home/tmp QT_QPA_PLATFORM=offscreen
unset DISPLAY WAYLAND_DISPLAY

export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1

# The sanitizers' shadow memory collides with some layouts that the system's address randomisation makes.
wrapper=(env)
case $preset in
asan | tsan) ! setarch -R true 2>/dev/null || wrapper=(setarch -R) ;;
esac
