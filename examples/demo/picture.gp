# Terminal, output file and style of a picture: call "picture.gp" NAME WIDTH HEIGHT (pixels).
# Set before: dir, the directory of tables and pictures.
if (strstrt(GPVAL_TERMINALS, "pngcairo") > 0) {
    set terminal pngcairo size int(ARG2),int(ARG3) font "Sans,11" linewidth 1.2 background "#ffffff"
} else {
    set terminal png size int(ARG2),int(ARG3)
}
set encoding utf8
set output dir."/".ARG1.".png"

blue = "#2f5d8a"; green = "#2e7d5b"; orange = "#c0562f"; grey = "#9a9a9a"
set border 3 linecolor "#666666"
set tics nomirror out scale 0.5 textcolor "#333333"
set grid ytics linecolor "#dddddd" linewidth 0.6 linetype 1 dashtype solid
set key textcolor "#333333" samplen 2 spacing 1.2
