// A management server on the socket that is its standard input. The first directory of a target
// selects the framing of the reply: /chunked/, /length/, /close/, or /hints/ (interim replies, then
// chunks).
'use strict';
const fs = require('fs');
const folder = process.argv[2];

require('http').createServer((request, response) => {
  const url = new URL(request.url, 'http://localhost');
  const [, framing, name] = url.pathname.split('/');
  const pieces = [];
  request.on('data', (piece) => pieces.push(piece));
  request.on('end', () => {
    const asked = url.searchParams;
    let body;
    switch (asked.get('ORLACommand')) {
      case 'GetVersion': body = Buffer.from('5.10.1\r\n'); break;
      case 'CompileName': body = Buffer.from(asked.get('Type') + asked.get('Identity0')); break;
      case 'UploadPackage':
        body = Buffer.from(asked.get('FileName'));
        fs.writeFileSync(folder + '/' + body, Buffer.concat(pieces));
        break;
      default: body = fs.readFileSync(folder + '/' + name);
    }
    if (framing === 'hints') {
      response.writeContinue();
      response.writeEarlyHints({ link: '</style.css>; rel=preload' });
    }
    if (framing === 'length') response.setHeader('Content-Length', body.length);
    if (framing === 'close') {
      response.removeHeader('Transfer-Encoding');
      response.useChunkedEncodingByDefault = false;
      response.shouldKeepAlive = false;
    }
    for (let at = 0; at < body.length; at += 5000) response.write(body.subarray(at, at + 5000));
    response.end();
  });
}).listen({ fd: 0 });
