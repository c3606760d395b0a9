#include "tools/live_page/http/page_text.h"

#include "base/markup.h"
#include "base/text.h"
#include "resources/texts.h"

namespace ulix {
namespace {

constexpr char kStyle[] = R"css(
body{font:15px/1.4 Helvetica,Arial,sans-serif;color:#222;max-width:66em;margin:1em auto;padding:0 1em}
h1{font-size:1.4em;margin:0}
h2{font-size:1em;margin:1em 0 .2em;color:#555;font-weight:normal}
#headline{font-size:1.15em;margin:.3em 0 0}
#detail{color:#555;margin:0 0 .6em}
#link{float:right;color:#555;font-size:.9em}
#scroll{overflow-x:auto}
table{border-collapse:collapse;width:100%;font-variant-numeric:tabular-nums}
th,td{padding:.15em .6em;border-bottom:1px solid #ddd;text-align:right;white-space:nowrap}
th:first-child,td:first-child{text-align:left}
thead th{background:#f2f5f8;font-size:.9em}
.alarm,.lost #link{color:#a00000}
.doubtful{background:#fff3cd}
canvas{width:100%;height:220px;display:block}
#lines{list-style:none;padding:0;margin:.6em 0;color:#555;font-size:.9em}
.swatch{display:inline-block;width:.8em;height:.8em;margin-right:.4em}
.lost table,.lost canvas,.ended table{opacity:.5}
)css";

// The script thins out its points in the same way as the program does, so that a page which is open for days stays
// fast.
constexpr char kScript[] = R"js(
'use strict';
const colours=['#333333','#0072b2','#d55e00','#009e73','#cc79a7','#e69f00','#56b4e9','#6a3d9a'];
const kRecent=600,kAll=2400,french=document.documentElement.lang==='fr';
const el=id=>document.getElementById(id);
let all=[],recent=[],frame=null,dirty=false,stride=1,count=0;
const shown=(v,d)=>{if(v===null||v===undefined)return '\u00d7';
  const t=Number(v.toPrecision(d||8)).toString();return french?t.replace('.',','):t;};
function keep(point){
  recent.push(point);if(recent.length>kRecent)recent.shift();
  if(count++%stride===0)all.push(point);
  if(all.length>=kAll){all=all.filter((p,k)=>k%2===0);stride*=2;}}
function clock(s){const n=v=>String(v).padStart(2,'0');s=Math.round(s);
  return Math.floor(s/3600)+':'+n(Math.floor(s/60)%60)+':'+n(s%60);}
function rangeOf(points,base,n){
  let low=Infinity,high=-Infinity;
  for(const p of points)for(let k=1;k<=n;k++)if(typeof p[k]==='number'){const v=p[k]-base(k);low=Math.min(low,v);high=Math.max(high,v);}
  if(low>high)return null;
  const least=Math.max(Math.abs(low),Math.abs(high),1)*1e-9;
  return high-low<least?[low-5e5*least,high+5e5*least]:[low,high];}
function draw(canvas,points,less){
  const ratio=window.devicePixelRatio||1,w=canvas.clientWidth,h=canvas.clientHeight;
  if(canvas.width!==Math.round(w*ratio)||canvas.height!==Math.round(h*ratio)){
    canvas.width=Math.round(w*ratio);canvas.height=Math.round(h*ratio);}
  const g=canvas.getContext('2d');g.setTransform(ratio,0,0,ratio,0,0);g.clearRect(0,0,w,h);
  if(points.length<2)return;
  const last=points[points.length-1],n=last.length-1,newest=[];
  for(let k=1;k<=n;k++){newest[k]=0;
    if(less)for(let j=points.length-1;j>=0;j--)if(typeof points[j][k]==='number'){newest[k]=points[j][k];break;}}
  const base=k=>newest[k],range=rangeOf(points,base,n);
  if(!range)return;
  const low=range[0],high=range[1];
  const left=72,right=w-8,top=8,bottom=h-22,t0=points[0][0],t1=last[0]>t0?last[0]:t0+1;
  const x=t=>left+(t-t0)/(t1-t0)*(right-left),y=v=>bottom-(v-low)/(high-low)*(bottom-top);
  g.font='11px Helvetica,Arial,sans-serif';g.fillStyle='#555';g.strokeStyle='#ddd';g.lineWidth=1;
  const places=Math.min(12,Math.max(0,1-Math.floor(Math.log10((high-low)/4))));
  for(let k=0;k<=4;k++){const v=low+(high-low)*k/4;g.beginPath();g.moveTo(left,y(v));g.lineTo(right,y(v));g.stroke();
    const t=v.toFixed(places);g.textAlign='right';g.fillText(french?t.replace('.',','):t,left-6,y(v)+4);}
  for(let k=0;k<=4;k++){const t=t0+(t1-t0)*k/4;g.textAlign=k===0?'left':k===4?'right':'center';g.fillText(clock(t),x(t),h-6);}
  for(let k=n;k>=1;k--){g.strokeStyle=colours[(k-1)%colours.length];g.lineWidth=1.3;g.beginPath();let pen=false;
    for(const p of points){if(typeof p[k]!=='number'){pen=false;continue;}
      const px=x(p[0]),py=y(p[k]-base(k));if(pen)g.lineTo(px,py);else g.moveTo(px,py);pen=true;}
    g.stroke();}
}
function cell(row,text,kind){const c=document.createElement('td');c.textContent=text;if(kind)c.className=kind;row.appendChild(c);return c;}
function row(s,k){
  const r=document.createElement('tr'),name=cell(r,''),swatch=document.createElement('span');
  if(s.quality==='doubtful')r.className='doubtful';
  swatch.className='swatch';swatch.style.background=colours[k%colours.length];name.append(swatch,s.name);
  cell(r,shown(s.value)+(s.unit&&s.value!==null?' '+s.unit:''),s.quality==='failed'?'alarm':'');
  for(const c of s.cells)cell(r,c.text,c.alarm?'alarm':'');
  cell(r,s.time);return r;}
function render(){
  requestAnimationFrame(render);
  if(!dirty||!frame)return;dirty=false;
  el('headline').textContent=frame.headline;el('detail').textContent=frame.detail;
  el('series').replaceChildren(...frame.series.map(row));
  el('lines').replaceChildren(...frame.lines.map(t=>{const i=document.createElement('li');i.textContent=t;return i;}));
  draw(el('recent'),recent,true);draw(el('all'),all,false);
}
function link(state){document.body.className=state;el('link').textContent=document.body.dataset[state||'live'];}
const source=new EventSource('events');
source.addEventListener('history',e=>{const h=JSON.parse(e.data);all=h.all;recent=h.recent;stride=1;count=0;dirty=true;});
source.addEventListener('frame',e=>{frame=JSON.parse(e.data);
  const last=recent.length?recent[recent.length-1][0]:-1;
  if(frame.seconds!==last)keep([frame.seconds].concat(frame.series.map(s=>s.quality==='failed'?null:s.value)));
  link('');dirty=true;});
source.addEventListener('end',()=>link('ended'));
source.onerror=()=>{if(document.body.className!=='ended')link('lost');};
window.addEventListener('resize',()=>{dirty=true;});
render();
)js";

// Each '%' is replaced by a value.
constexpr char kPage[] = R"html(<!DOCTYPE html>
<html lang="%">
<head>
<meta charset="utf-8"/>
<meta name="viewport" content="width=device-width"/>
<link rel="icon" href="data:,"/>
<title>%</title>
<style>%</style>
</head>
<body data-live="%" data-lost="%" data-ended="%">
<div id="link"></div>
<h1>%</h1>
<p id="headline">%</p>
<p id="detail"></p>
<div id="scroll"><table>
<thead><tr>%</tr></thead>
<tbody id="series"></tbody>
</table></div>
<h2>%</h2>
<canvas id="recent"></canvas>
<h2>%</h2>
<canvas id="all"></canvas>
<ul id="lines"></ul>
<script>%</script>
</body>
</html>
)html";

}  // namespace

std::string PageText(const LivePageOptions& options) {
  const auto text = [&](TextId id) { return Escaped(Utf8Of(id, options.language)); };
  std::vector<std::string> heads = {text(TextId::kChannelLabel), text(TextId::kValueLabel)};
  for (const std::string& column : options.columns) heads.push_back(Escaped(column));
  heads.push_back(text(TextId::kTime));
  std::string row;
  for (const std::string& head : heads) row += "<th>" + head + "</th>";
  const std::string language = options.language == Language::kFrench ? "fr" : "en";
  return WithValues(
      kPage, {language, Escaped(options.title), kStyle, text(TextId::kPageConnected), text(TextId::kPageDisconnected),
              text(TextId::kPageEnded), Escaped(options.title), text(TextId::kPageWaiting), row,
              text(TextId::kPageRecent), text(TextId::kPageAll), kScript});
}

}  // namespace ulix
