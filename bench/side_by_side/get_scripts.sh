#!/bin/sh
# Collects real scripts: get_scripts.sh FOLDER
#
# Installs npm packages below FOLDER, for the benchmark only, and copies their scripts to
# FOLDER/plain, FOLDER/minified and FOLDER/vbs. Real VBScript is rare there: all of it that these
# packages carry is some 30 KB, which the benchmark repeats to several MB.
set -eu
folder=${1:?"usage: get_scripts.sh FOLDER"}
mkdir -p "$folder"
cd "$folder"
npm install --silent --no-save --ignore-scripts --no-audit --no-fund --prefix . \
  lodash@4.17.21 jquery@3.7.1 d3@7.9.0 vue@3.4.38 react-dom@18.3.1 echarts@5.5.1 three@0.160.0 \
  typescript@5.4.5 regedit@5.1.3 create-desktop-shortcuts@1.11.0

rm -rf plain minified vbs
mkdir plain minified vbs
m=node_modules
cp $m/lodash/lodash.js $m/jquery/dist/jquery.js $m/d3/dist/d3.js $m/vue/dist/vue.global.js \
  $m/react-dom/umd/react-dom.development.js $m/echarts/dist/echarts.js $m/three/build/three.js plain
cp $m/lodash/lodash.min.js $m/jquery/dist/jquery.min.js $m/d3/dist/d3.min.js \
  $m/vue/dist/vue.global.prod.js $m/react-dom/umd/react-dom.production.min.js \
  $m/echarts/dist/echarts.min.js $m/three/build/three.min.js minified
cp $m/typescript/lib/typescript.js plain
find $m -name '*.vbs' -exec cp {} vbs \;
du -sb plain minified vbs
