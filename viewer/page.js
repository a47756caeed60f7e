// The viewer page: reads the layers embedded by the library and shows them
// with three.js. Everything is built from the page's own data; nothing is
// fetched.
(function () {
  'use strict';
  var started = performance.now();
  var data = JSON.parse(document.getElementById('relief-data').textContent);

  function bytesOf(b64) {
    var s = atob(b64), n = s.length, out = new Uint8Array(n);
    for (var i = 0; i < n; i++) out[i] = s.charCodeAt(i);
    return out;
  }
  function floatsOf(b64) {
    var b = bytesOf(b64);
    return new Float32Array(b.buffer, 0, b.length >> 2);
  }
  // Zig-zag varints of index differences (see the library's encoder).
  function indicesOf(b64, count) {
    var b = bytesOf(b64), out = new Uint32Array(count), pos = 0, prev = 0;
    for (var i = 0; i < count; i++) {
      var v = 0, scale = 1, byte;
      do { byte = b[pos++]; v += (byte & 127) * scale; scale *= 128; } while (byte & 128);
      prev += (v % 2) ? -(v + 1) / 2 : v / 2;
      out[i] = prev;
    }
    return out;
  }

  // A perceptual ramp from dark blue over green to yellow.
  var RAMP = [[0.267, 0.005, 0.329], [0.230, 0.322, 0.546], [0.128, 0.567, 0.551],
              [0.369, 0.789, 0.383], [0.993, 0.906, 0.144]];
  function rampColour(t, out) {
    t = Math.min(1, Math.max(0, isFinite(t) ? t : 0)) * (RAMP.length - 1);
    var i = Math.min(RAMP.length - 2, Math.floor(t)), f = t - i;
    for (var k = 0; k < 3; k++) out[k] = RAMP[i][k] + (RAMP[i + 1][k] - RAMP[i][k]) * f;
    return out;
  }

  var container = document.getElementById('view');
  var renderer = new THREE.WebGLRenderer({ antialias: true, preserveDrawingBuffer: true });
  renderer.setPixelRatio(window.devicePixelRatio || 1);
  renderer.setSize(container.clientWidth, container.clientHeight);
  renderer.setClearColor(0x1d2025);
  container.appendChild(renderer.domElement);
  var scene = new THREE.Scene();
  var camera = new THREE.PerspectiveCamera(40, container.clientWidth / container.clientHeight, 0.01, 1e7);
  camera.up.set(0, 0, 1);
  scene.add(new THREE.AmbientLight(0xffffff, 0.35));
  var light = new THREE.DirectionalLight(0xffffff, 0.75);
  camera.add(light);
  light.position.set(0.3, 0.6, 1);
  scene.add(camera);

  // The box of everything, in absolute coordinates; objects are placed
  // relative to its centre so far-off data keeps its detail on the GPU.
  var lo = [Infinity, Infinity, Infinity], hi = [-Infinity, -Infinity, -Infinity];
  function grow(a, b) {
    for (var k = 0; k < 3; k++) { lo[k] = Math.min(lo[k], a[k]); hi[k] = Math.max(hi[k], b[k]); }
  }
  function gridBox(layer, zlo, zhi) {
    var w = (layer.cols - 1) * layer.stride * layer.scale[0], h = (layer.rows - 1) * layer.stride * layer.scale[1];
    return [[0, 0, zlo], [Math.max(w, 0), Math.max(h, 0), zhi]];
  }
  data.layers.forEach(function (layer) {
    if (layer.kind === 'mesh' || layer.kind === 'lines') {
      if (layer.vertices > 0) grow(layer.min, layer.max);
    } else if (layer.kind === 'surface') {
      if (layer.range[1] > 0 || layer.range[0] !== 0) {
        var b = gridBox(layer, layer.range[0] * layer.scale[2], layer.range[1] * layer.scale[2]);
        grow(b[0], b[1]);
      }
    } else if (layer.kind === 'colourmap') {
      var c = gridBox(layer, layer.scale[2], layer.scale[2]);
      if (layer.cols > 0) grow(c[0], c[1]);
    }
  });
  var hasBox = lo[0] <= hi[0];
  var centre = hasBox ? [(lo[0] + hi[0]) / 2, (lo[1] + hi[1]) / 2, (lo[2] + hi[2]) / 2] : [0, 0, 0];
  var radius = hasBox ? Math.max(1e-6, 0.5 * Math.hypot(hi[0] - lo[0], hi[1] - lo[1], hi[2] - lo[2])) : 1;

  var overlays = [], entries = [], shownTotal = 0, sourceTotal = 0, vertexTotal = 0, anything = false;
  var wire = document.getElementById('wireframe');

  function surfaceMaterial(colour, vertexColours) {
    return new THREE.MeshLambertMaterial({ color: vertexColours ? 0xffffff : colour, side: THREE.DoubleSide,
                                           vertexColors: vertexColours ? THREE.VertexColors : THREE.NoColors });
  }
  function addOverlay(geometry, object) {
    var o = new THREE.Mesh(geometry, new THREE.MeshBasicMaterial({ color: 0x000000, wireframe: true,
                                                                   transparent: true, opacity: 0.35 }));
    o.position.copy(object.position);
    o.visible = false;
    o.userData.owner = object;
    scene.add(o);
    overlays.push(o);
  }

  function buildIndexed(layer) {
    var g = new THREE.BufferGeometry();
    g.setAttribute('position', new THREE.BufferAttribute(floatsOf(layer.positions), 3));
    g.setIndex(new THREE.BufferAttribute(indicesOf(layer.indices, layer.indexCount), 1));
    var object;
    if (layer.kind === 'mesh') {
      g.computeVertexNormals();
      object = new THREE.Mesh(g, surfaceMaterial(layer.colour, false));
    } else {
      object = new THREE.LineSegments(g, new THREE.LineBasicMaterial({ color: layer.colour }));
    }
    object.position.set(layer.origin[0] - centre[0], layer.origin[1] - centre[1], layer.origin[2] - centre[2]);
    scene.add(object);
    if (layer.kind === 'mesh') addOverlay(g, object);
    anything = anything || layer.shown > 0;
    vertexTotal += layer.vertices;
    return object;
  }

  // A height field: a vertex per sampled pixel, two triangles per cell of
  // four valid pixels split on the (x, y)-(x+1, y+1) diagonal, coloured by height.
  function buildSurface(layer) {
    var v = floatsOf(layer.values), cols = layer.cols, rows = layer.rows, s = layer.scale, step = layer.stride;
    var n = cols * rows, pos = new Float32Array(3 * n), col = new Float32Array(3 * n), rgb = [0, 0, 0];
    var span = layer.range[1] - layer.range[0] || 1;
    for (var r = 0, i = 0; r < rows; r++) {
      for (var c = 0; c < cols; c++, i++) {
        var h = v[i] !== 0 ? v[i] : layer.range[0];
        pos[3 * i] = c * step * s[0] - centre[0];
        pos[3 * i + 1] = r * step * s[1] - centre[1];
        pos[3 * i + 2] = h * s[2] - centre[2];
        rampColour((h - layer.range[0]) / span, rgb);
        col[3 * i] = rgb[0]; col[3 * i + 1] = rgb[1]; col[3 * i + 2] = rgb[2];
      }
    }
    var cells = 0;
    for (r = 0; r + 1 < rows; r++)
      for (c = 0; c + 1 < cols; c++) {
        i = r * cols + c;
        if (v[i] !== 0 && v[i + 1] !== 0 && v[i + cols] !== 0 && v[i + cols + 1] !== 0) cells++;
      }
    var index = new Uint32Array(6 * cells), k = 0;
    for (r = 0; r + 1 < rows; r++)
      for (c = 0; c + 1 < cols; c++) {
        i = r * cols + c;
        if (v[i] !== 0 && v[i + 1] !== 0 && v[i + cols] !== 0 && v[i + cols + 1] !== 0) {
          index[k++] = i; index[k++] = i + 1; index[k++] = i + cols + 1;
          index[k++] = i; index[k++] = i + cols + 1; index[k++] = i + cols;
        }
      }
    var g = new THREE.BufferGeometry();
    g.setAttribute('position', new THREE.BufferAttribute(pos, 3));
    g.setAttribute('color', new THREE.BufferAttribute(col, 3));
    g.setIndex(new THREE.BufferAttribute(index, 1));
    g.computeVertexNormals();
    var object = new THREE.Mesh(g, surfaceMaterial(layer.colour, true));
    scene.add(object);
    addOverlay(g, object);
    layer.shown = 2 * cells;
    anything = anything || cells > 0;
    vertexTotal += n;
    return object;
  }

  // A colour map: one texel per sampled pixel on a flat plane.
  function buildColourMap(layer) {
    var v = floatsOf(layer.values), cols = layer.cols, rows = layer.rows, s = layer.scale, step = layer.stride;
    var texels = new Uint8Array(4 * Math.max(1, cols * rows)), rgb = [0, 0, 0], valid = 0;
    var span = layer.range[1] - layer.range[0] || 1;
    for (var i = 0; i < cols * rows; i++) {
      if (layer.zeroIsNoData && v[i] === 0) continue;
      rampColour((v[i] - layer.range[0]) / span, rgb);
      texels[4 * i] = 255 * rgb[0]; texels[4 * i + 1] = 255 * rgb[1]; texels[4 * i + 2] = 255 * rgb[2];
      texels[4 * i + 3] = 255;
      valid++;
    }
    var texture = new THREE.DataTexture(texels, Math.max(cols, 1), Math.max(rows, 1), THREE.RGBAFormat);
    texture.magFilter = THREE.NearestFilter;
    texture.minFilter = THREE.NearestFilter;
    texture.needsUpdate = true;
    var w = cols * step * s[0], h = rows * step * s[1];
    var plane = new THREE.Mesh(new THREE.PlaneBufferGeometry(Math.max(w, 1e-6), Math.max(h, 1e-6)),
                               new THREE.MeshBasicMaterial({ map: texture, transparent: true, side: THREE.DoubleSide }));
    // Pixel (x, y) covers [x - 1/2, x + 1/2]: the plane is centred on the pixel centres' box.
    plane.position.set(w / 2 - step * s[0] / 2 - centre[0], h / 2 - step * s[1] / 2 - centre[1], s[2] - centre[2]);
    scene.add(plane);
    anything = anything || valid > 0;
    return plane;
  }

  function addRamp(parent, low, high) {
    var ramp = document.createElement('div');
    ramp.className = 'ramp';
    var canvas = document.createElement('canvas');
    canvas.width = 160; canvas.height = 10;
    var ctx = canvas.getContext('2d'), rgb = [0, 0, 0];
    for (var x = 0; x < 160; x++) {
      rampColour(x / 159, rgb);
      ctx.fillStyle = 'rgb(' + Math.round(255 * rgb[0]) + ',' + Math.round(255 * rgb[1]) + ',' + Math.round(255 * rgb[2]) + ')';
      ctx.fillRect(x, 0, 1, 10);
    }
    ramp.appendChild(canvas);
    [low, high].forEach(function (value) {
      var label = document.createElement('span');
      label.textContent = Number(value).toPrecision(5);
      ramp.appendChild(label);
    });
    parent.appendChild(ramp);
  }

  var legend = document.getElementById('legend');
  data.layers.forEach(function (layer) {
    var object = layer.kind === 'surface' ? buildSurface(layer)
               : layer.kind === 'colourmap' ? buildColourMap(layer) : buildIndexed(layer);
    var entry = document.createElement('div');
    var label = document.createElement('label');
    var box = document.createElement('input');
    box.type = 'checkbox';
    box.checked = layer.visible !== false;
    object.visible = box.checked;
    box.addEventListener('change', function () { object.visible = box.checked; syncOverlays(); render(); });
    var swatch = document.createElement('span');
    swatch.className = 'swatch';
    swatch.style.background = layer.colour;
    label.appendChild(box);
    label.appendChild(swatch);
    label.appendChild(document.createTextNode(layer.name));
    entry.appendChild(label);
    var what = layer.kind === 'lines' ? ' segments' : ' triangles';
    if (layer.kind !== 'colourmap') {
      var count = document.createElement('div');
      count.className = 'count';
      count.textContent = Number(layer.shown).toLocaleString('en') + what;
      entry.appendChild(count);
    }
    if (layer.kind === 'surface' || layer.kind === 'colourmap') addRamp(entry, layer.range[0], layer.range[1]);
    if (layer.note) {
      var note = document.createElement('div');
      note.className = 'note';
      note.textContent = layer.note;
      entry.appendChild(note);
    }
    legend.appendChild(entry);
    if (layer.kind !== 'lines' && layer.kind !== 'colourmap') {
      shownTotal += layer.shown;
      sourceTotal += layer.primitives;
    }
    entries.push(object);
  });

  function syncOverlays() {
    overlays.forEach(function (o) { o.visible = wire.checked && o.userData.owner.visible; });
  }
  wire.addEventListener('change', function () { syncOverlays(); render(); });

  function fmt(x) { return Number(x).toPrecision(6); }
  var info = document.getElementById('info');
  info.textContent = data.layers.length + ' layer(s), ' + shownTotal.toLocaleString('en') + ' triangles in all' +
      (sourceTotal !== shownTotal ? ' of ' + sourceTotal.toLocaleString('en') : '') + ', ' +
      vertexTotal.toLocaleString('en') + ' vertices' +
      (hasBox ? '\nbox ' + fmt(lo[0]) + ' ' + fmt(lo[1]) + ' ' + fmt(lo[2]) + '\n .. ' + fmt(hi[0]) + ' ' +
                fmt(hi[1]) + ' ' + fmt(hi[2]) : '');

  if (!anything) {
    var message = document.getElementById('message');
    message.textContent = 'empty';
    message.style.display = 'block';
    document.body.dataset.empty = '1';
  }

  var controls = new THREE.OrbitControls(camera, renderer.domElement);
  controls.screenSpacePanning = true;
  function resetView() {
    controls.target.set(0, 0, 0);
    camera.position.set(0, -1.35 * radius, 1.9 * radius);
    camera.near = radius / 1000;
    camera.far = radius * 100;
    camera.updateProjectionMatrix();
    controls.update();
    render();
  }
  function render() { renderer.render(scene, camera); }
  controls.addEventListener('change', render);
  document.getElementById('reset').addEventListener('click', resetView);
  window.addEventListener('resize', function () {
    camera.aspect = container.clientWidth / container.clientHeight;
    camera.updateProjectionMatrix();
    renderer.setSize(container.clientWidth, container.clientHeight);
    render();
  });
  resetView();
  if (document.body.dataset.status !== 'error') document.body.dataset.status = 'ready';
  document.body.dataset.readyMs = String(Math.round(performance.now()));
  document.body.dataset.buildMs = String(Math.round(performance.now() - started));
  document.body.dataset.triangles = String(shownTotal);
})();
