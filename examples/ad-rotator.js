// Writes a banner, or a Flash film where the browser can show one.
var rotatorSpots = [
  "http://ads.werbenetz.example/rotator/one.gif",
  "http://ads.werbenetz.example/rotator/two.gif",
  "http://ads.werbenetz.example/rotator/three.gif"
];

function rotatorPick() {
  return rotatorSpots[Math.floor(Math.random() * rotatorSpots.length)];
}

function rotatorHasFlash() {
  if (navigator.plugins && navigator.plugins["Shockwave Flash"]) {
    return true;
  }
  try {
    return !!new ActiveXObject("ShockwaveFlash.ShockwaveFlash.6");
  } catch (e) {
    return false;
  }
}

if (rotatorHasFlash()) {
  document.write('<embed src="http://ads.werbenetz.example/rotator/film.swf"'
      + ' width="468" height="60" type="application/x-shockwave-flash"></embed>');
} else {
  document.write('<a href="http://ads.werbenetz.example/click"><img src="' + rotatorPick()
      + '" width="468" height="60" border="0"></a>');
}
