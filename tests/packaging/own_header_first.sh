# Fails for each product source whose first include is not its own header.
cd ../..
status=0
for source in Base/*.cpp Diag/*.cpp Crypto/*.cpp Network/*/*.cpp; do
    header=${source%.cpp}.h
    [ ! -e "$header" ] || [ "$(grep -m1 '^#include' "$source")" = "#include \"$header\"" ] || {
        echo "$source: $header is not its first include"
        status=1
    }
done
exit $status
