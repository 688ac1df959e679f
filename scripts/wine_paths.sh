# Where scripts/setup puts Wine and the checkout's Wine prefix; for other scripts to read. The folder
# of the checkout is expected in $root.
# shellcheck shell=bash disable=SC2034,SC2154
wine_folder=$root/.deps/wine10
wine_loader=$wine_folder/usr/lib/wine/wine64
wine_server=$wine_folder/usr/lib/wine/wineserver64
wine_prefix=$root/.deps/prefix
