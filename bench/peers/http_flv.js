// node-media-server with RTMP in and HTTP-FLV out: http_flv.js RTMP_PORT HTTP_PORT
const NodeMediaServer = require('node-media-server');

const [rtmpPort, httpPort] = process.argv.slice(2).map(Number);
new NodeMediaServer({
  logType: 0,
  rtmp: { port: rtmpPort, chunk_size: 60000, gop_cache: true, ping: 30, ping_timeout: 60 },
  http: { port: httpPort, allow_origin: '*' },
}).run();
console.log('ready');
