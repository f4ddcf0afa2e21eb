'use strict';

// Usage: node ws_server.js CERTIFICATE KEY
// Two servers on free ports, one of them with TLS. Prints "PLAIN TLS" (the ports) and serves until it
// is ended. What it does is chosen by the path:
//   /            tells path, protocol offered and headers as JSON, then echoes
//   /mirror      echoes texts as binary messages
//   /burst?n=N   sends N binary messages of growing sizes, each filled with its number
//   /close?code=C&reason=R   closes
//   /ping        pings, and tells the payload of the answer
//   /deaf        accepts and never reads
//   /secret      refuses with 401

const http = require('http');
const https = require('https');
const fs = require('fs');
const {WebSocketServer} = require('ws');

const BURST_SIZES = [0, 1, 125, 126, 65535, 65536, 1000000];

const actions = {
    '/': (socket, request) => {
        socket.send(JSON.stringify({url: request.url, headers: request.headers}));
        socket.on('message', (data, isBinary) => socket.send(data, {binary: isBinary}));
    },
    '/mirror': socket => socket.on('message', data => socket.send(data, {binary: true})),
    '/burst': (socket, request, query) => {
        for (let i = 0; i < Number(query.get('n')); ++i)
            socket.send(Buffer.alloc(BURST_SIZES[i % BURST_SIZES.length], i % 256));
        socket.close(1000, 'done');
    },
    '/close': (socket, request, query) => {
        socket.close(Number(query.get('code')), query.get('reason') || '');
    },
    '/ping': socket => {
        socket.on('pong', data => socket.send(`pong ${data}`));
        socket.ping('are you there');
    },
    '/deaf': socket => socket._socket.pause(),
};

function serve(server, address) {
    const sockets = new WebSocketServer({noServer: true});
    server.on('upgrade', (request, stream, head) => {
        const url = new URL(request.url, 'http://localhost');
        const action = actions[url.pathname];
        if (!action)
            return stream.end('HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n');
        sockets.handleUpgrade(request, stream, head, socket => {
            socket.on('error', () => {});
            action(socket, request, url.searchParams);
        });
    });
    return new Promise(resolve =>
        server.listen(0, address, () => resolve(server.address().port)));
}

async function main(certificate, key) {
    const tls = {cert: fs.readFileSync(certificate), key: fs.readFileSync(key)};
    const plain = await serve(http.createServer(), '127.0.0.1');
    // On every address: the certificate is not good for all of them.
    const secure = await serve(https.createServer(tls), '0.0.0.0');
    console.log(`${plain} ${secure}`);
}

main(process.argv[2], process.argv[3]);
